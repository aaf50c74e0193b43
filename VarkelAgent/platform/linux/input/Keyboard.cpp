#include "platform/linux/input/Keyboard.h"

#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include "platform/linux/input/Autorepeat.h"
#include "platform/linux/input/Keysyms.h"
#include "platform/linux/x11/InputSync.h"
#include "platform/linux/x11/XkbProtocol.h"

namespace varkel {

namespace {

/// How long an application that does not read its events holds up the next binding.
constexpr std::chrono::milliseconds readPatience{4000};
/// How long it holds up restoring the keyboard, which can be tried again later.
constexpr std::chrono::milliseconds restorePatience{300};

/// How long a person gets to let go of a modifier key that would spoil a character.
constexpr std::chrono::milliseconds modifierPatience{200};
constexpr std::chrono::milliseconds modifierPoll{10};

constexpr std::uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                   XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS;

void fakeKey(xcb_connection_t* connection, std::uint8_t type, xcb_keycode_t key) {
    xcb_test_fake_input(connection, type, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

void setLocks(xcb_connection_t* connection, xkb_mod_mask_t affected, xkb_mod_mask_t locked,
              xkb_mod_mask_t affectedLatches) {
    xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, static_cast<std::uint8_t>(affected),
                             static_cast<std::uint8_t>(locked), 0, 0,
                             static_cast<std::uint8_t>(affectedLatches), 0, 0);
}

}  // namespace

bool Keyboard::startOver(X11Connection::Session& session) {
    generation_ = session.generation();
    map_.reset();
    stale_ = true;
    remapper_.forget();
    if (xkb_x11_setup_xkb_extension(session.get(), XKB_X11_MIN_MAJOR_XKB_VERSION,
                                    XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                    nullptr, nullptr, &firstEvent_, nullptr) == 0) {
        return false;
    }
    constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    xcb_xkb_select_events(session.get(), XCB_XKB_ID_USE_CORE_KBD, events, 0, events, mapParts, mapParts,
                          nullptr);
    autorepeatOff_.clear();
    down_.clear();
    remapper_.start(session);
    return static_cast<bool>(session);
}

void Keyboard::drainEvents(X11Connection::Session& session) {
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(session.get())}) {
        const int type = event->response_type & 0x7F;
        if (type == XCB_MAPPING_NOTIFY || type == firstEvent_) stale_ = true;
    }
}

bool Keyboard::refresh(X11Connection::Session& session) {
    if (!session) return false;
    if (generation_ != session.generation() && !startOver(session)) return false;
    drainEvents(session);
    if (!stale_ && map_) return true;
    // What changes from here on brings another event.
    stale_ = false;
    map_ = KeyboardMap::fetch(session);
    if (!map_) return false;
    remapper_.adopt(session, *map_);
    return true;
}

std::optional<Keyboard::State> Keyboard::readState(X11Connection::Session& session) {
    const XcbPtr<xcb_xkb_get_state_reply_t> reply(xcb_xkb_get_state_reply(
        session.get(), xcb_xkb_get_state(session.get(), XCB_XKB_ID_USE_CORE_KBD), nullptr));
    if (!reply) return std::nullopt;
    return State{reply->group, reply->baseMods, reply->latchedMods, reply->lockedMods};
}

Keyboard::State Keyboard::readStateWhenModifiersAreFree(X11Connection::Session& session) {
    const auto until = std::chrono::steady_clock::now() + modifierPatience;
    for (;;) {
        const auto state = readState(session);
        if (!state) return {};
        if (state->held == 0 || std::chrono::steady_clock::now() >= until) return *state;
        std::this_thread::sleep_for(modifierPoll);
    }
}

const KeyStroke* Keyboard::find(xkb_keysym_t keysym, const State& state) {
    return map_ ? map_->find(keysym, state.group, kept(state)) : nullptr;
}

/// Binds `first` and, as far as they fit, what the text needs after it.
bool Keyboard::bindFrom(X11Connection::Session& session, xkb_keysym_t first, const State& state,
                        PlannedText* text) {
    std::vector<xkb_keysym_t> wanted{first};
    std::set<xkb_keysym_t> seen{first};
    const std::size_t capacity = remapper_.capacity(*map_);
    if (capacity == 0) return false;
    for (std::size_t at = text == nullptr ? 0 : text->next; text != nullptr && at < text->keysyms.size();
         ++at) {
        if (wanted.size() >= capacity) break;
        const xkb_keysym_t keysym = text->keysyms[at];
        if (!seen.insert(keysym).second) continue;
        if (remapper_.isBound(keysym) || find(keysym, state) == nullptr) wanted.push_back(keysym);
    }
    if (remapper_.wouldReplace(*map_, wanted)) waitUntilEventsAreRead(session, readPatience);
    if (!remapper_.bind(session, *map_, wanted)) return false;
    stale_ = true;
    return refresh(session);
}

void Keyboard::prepare(X11Connection::Session& session, PlannedText& text) {
    if (!refresh(session)) return;
    const auto state = readState(session);
    if (!state) return;
    const auto missing = std::find_if(text.keysyms.begin(), text.keysyms.end(),
                                      [&](xkb_keysym_t keysym) { return find(keysym, *state) == nullptr; });
    if (missing != text.keysyms.end()) bindFrom(session, *missing, *state, &text);
}

PlannedText* Keyboard::advanceTo(xkb_keysym_t keysym, std::list<PlannedText>& texts) {
    for (PlannedText& text : texts) {
        const auto from = text.keysyms.begin() + static_cast<std::ptrdiff_t>(text.next);
        const auto found = std::find(from, text.keysyms.end(), keysym);
        if (found == text.keysyms.end()) continue;
        text.next = static_cast<std::size_t>(found - text.keysyms.begin()) + 1;
        return &text;
    }
    return nullptr;
}

std::optional<xcb_keycode_t> Keyboard::press(X11Connection::Session& session, xkb_keysym_t keysym,
                                             const std::vector<xkb_keysym_t>& extraModifiers,
                                             std::list<PlannedText>& texts) {
    if (!session) return std::nullopt;
    if (generation_ != session.generation() && !startOver(session)) return std::nullopt;
    // The state is asked first: its answer brings along every event about a changed map.
    const State state = readStateWhenModifiersAreFree(session);
    if (!refresh(session)) return std::nullopt;

    remapper_.begin(session);
    PlannedText* text = advanceTo(keysym, texts);
    const KeyStroke* stroke = find(keysym, state);
    if (stroke == nullptr && bindFrom(session, keysym, state, text)) stroke = find(keysym, state);
    if (stroke == nullptr) return std::nullopt;

    std::vector<xcb_keycode_t> modifiers = stroke->modifierKeys;
    for (const xkb_keysym_t extra : extraModifiers) {
        const auto key = map_->modifierKey(extra);
        if (key && std::find(modifiers.begin(), modifiers.end(), *key) == modifiers.end())
            modifiers.push_back(*key);
    }
    const xkb_mod_mask_t unwanted = state.locked & ~map_->numLockMask();
    if (unwanted != 0 || state.latched != 0) setLocks(session.get(), unwanted, 0, state.latched);
    for (const xcb_keycode_t key : modifiers) fakeKey(session.get(), XCB_KEY_PRESS, key);
    // Another request may hold the same key at this moment; a key that is down already would type nothing.
    if (!down_.insert(stroke->key).second) fakeKey(session.get(), XCB_KEY_RELEASE, stroke->key);
    turnAutorepeatOff(session, stroke->key);
    fakeKey(session.get(), XCB_KEY_PRESS, stroke->key);
    std::for_each(modifiers.rbegin(), modifiers.rend(),
                  [&](xcb_keycode_t key) { fakeKey(session.get(), XCB_KEY_RELEASE, key); });
    if (unwanted != 0) setLocks(session.get(), unwanted, unwanted, 0);
    return stroke->key;
}

/// Turns autorepeat off for a key that is held: were this process held up before the release, the character
/// would arrive many times.
void Keyboard::turnAutorepeatOff(X11Connection::Session& session, xcb_keycode_t key) {
    if (setAutorepeat(session, {&key, 1}, false)) autorepeatOff_.insert(key);
}

void Keyboard::release(X11Connection::Session& session, xcb_keycode_t key) {
    down_.erase(key);
    if (!session) return;
    fakeKey(session.get(), XCB_KEY_RELEASE, key);
    if (autorepeatOff_.erase(key) != 0) setAutorepeat(session, {&key, 1}, true);
}

bool Keyboard::restore(X11Connection::Session& session, Reading reading) {
    if (!session) return false;
    // On a new connection the old bindings are recovered as a dead owner's.
    if (generation_ != session.generation()) return startOver(session);
    stale_ = true;
    const bool mayWait = reading == Reading::required && !remapper_.isEmpty();
    if (mayWait && !waitUntilEventsAreRead(session, restorePatience)) return false;
    remapper_.restore(session);
    return true;
}

}  // namespace varkel
