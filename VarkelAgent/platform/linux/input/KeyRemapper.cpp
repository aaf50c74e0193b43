#include "platform/linux/input/KeyRemapper.h"

#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <set>
#include <span>

#include "platform/linux/input/Autorepeat.h"
#include "platform/linux/x11/XkbProtocol.h"

namespace varkel {

namespace {

constexpr std::string_view recoveryProperty = "_VARKEL_AGENT_BOUND_KEYS";

/// Types that every keyboard map has, by their fixed numbers.
constexpr std::uint8_t oneLevelType = 0;
constexpr std::uint8_t twoLevelType = 1;

/// One record of the property on the root window from which remapped keys are recovered.
struct RecoveryRecord {
    std::uint32_t owner;
    /// The random number on the owner's window.
    std::uint32_t mark;
    /// The key code, or 0: the owner presses keys but has bound none.
    std::uint32_t key;
    /// What was bound to the key without modifiers: it tells whether the key is still as its owner left it.
    std::uint32_t keysym;
};
static_assert(sizeof(RecoveryRecord) == 16);

std::vector<RecoveryRecord> readRecords(X11Connection::Session& session) {
    const auto units = session.property<std::uint32_t>(session.root(), recoveryProperty);
    std::vector<RecoveryRecord> records;
    for (std::size_t at = 0; at + 3 < units.size(); at += 4) {
        records.push_back({units[at], units[at + 1], units[at + 2], units[at + 3]});
    }
    return records;
}

void replaceRecords(X11Connection::Session& session, const std::vector<RecoveryRecord>& records) {
    if (records.empty()) {
        xcb_delete_property(session.get(), session.root(), session.atom(recoveryProperty));
        return;
    }
    xcb_change_property(session.get(), XCB_PROP_MODE_REPLACE, session.root(), session.atom(recoveryProperty),
                        XCB_ATOM_CARDINAL, 32, static_cast<std::uint32_t>(records.size() * 4),
                        records.data());
}

/// Releases every key that is down: those that a dead owner held are among them, and the server does not tell
/// which. A key that a person holds at that very moment comes up too, and goes down again with the next
/// touch.
void releaseHeldKeys(X11Connection::Session& session) {
    const XcbPtr<xcb_query_keymap_reply_t> held(
        xcb_query_keymap_reply(session.get(), xcb_query_keymap(session.get()), nullptr));
    if (!held) return;
    std::vector<xcb_keycode_t> keys;
    for (unsigned key = 8; key < 256; ++key) {
        if ((held->keys[key / 8] & (1U << (key % 8))) != 0) keys.push_back(static_cast<xcb_keycode_t>(key));
    }
    for (const xcb_keycode_t key : keys) {
        xcb_test_fake_input(session.get(), XCB_KEY_RELEASE, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    setAutorepeat(session, keys, true);
}

/// Whether the process that made this window still has it. The random number tells it from a window that got
/// the same id later: the very next connection often does.
bool isOwnerAlive(X11Connection::Session& session, const RecoveryRecord& record) {
    const auto marks = session.property<std::uint32_t>(record.owner, recoveryProperty, 1);
    return !marks.empty() && marks.front() == record.mark;
}

/// Keeps other clients from reading and changing the records while this lives.
class ServerGrab {
  public:
    explicit ServerGrab(X11Connection::Session& session) : connection_(session.get()) {
        xcb_grab_server(connection_);
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;
    ~ServerGrab() {
        xcb_ungrab_server(connection_);
        xcb_flush(connection_);
    }

  private:
    xcb_connection_t* connection_;
};

/// Sends the keysyms of one key code; none empties it. Any action is taken off it: one may be left over from
/// another program's use of the key, and would have its effect instead of the character's.
void setKey(xcb_connection_t* connection, xcb_keycode_t min, xcb_keycode_t max, xcb_keycode_t key,
            std::span<const xkb_keysym_t> keysyms, std::uint8_t type) {
    xcb_xkb_key_sym_map_t head{};
    head.kt_index[0] = type;
    head.groupInfo = keysyms.empty() ? 0 : 1;
    head.width = static_cast<std::uint8_t>(keysyms.size());
    head.nSyms = head.width;
    // After the keysyms, the number of actions of the one key, padded.
    constexpr std::size_t actionCounts = 4;
    std::vector<std::uint8_t> values(sizeof head + keysyms.size_bytes() + actionCounts);
    std::memcpy(values.data(), &head, sizeof head);
    if (!keysyms.empty()) std::memcpy(values.data() + sizeof head, keysyms.data(), keysyms.size_bytes());
    constexpr std::uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_KEY_ACTIONS;
    xcb_xkb_set_map(connection, XCB_XKB_ID_USE_CORE_KBD, parts, 0, min, max, 0, 0, key, 1, head.nSyms, key, 1,
                    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, values.data());
}

/// Empties a key code that still carries what was bound to it. One that carries something else has got a new
/// meaning from another client, most often with a whole new layout, and is left alone.
void emptyKey(X11Connection::Session& session, std::uint32_t key, xkb_keysym_t expected) {
    const xcb_setup_t* setup = xcb_get_setup(session.get());
    if (key < setup->min_keycode || key > setup->max_keycode) return;
    const auto code = static_cast<xcb_keycode_t>(key);
    const XcbPtr<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        session.get(), xcb_get_keyboard_mapping(session.get(), code, 1), nullptr));
    if (!reply || xcb_get_keyboard_mapping_keysyms_length(reply.get()) < 1) return;
    if (xcb_get_keyboard_mapping_keysyms(reply.get())[0] != expected) return;
    setKey(session.get(), setup->min_keycode, setup->max_keycode, code, {}, 0);
}

/// The number of a key type that gives Shift, the third-level key and both together a level each, and heeds
/// nothing else; 0 when the map has none.
std::uint8_t findFourLevelType(X11Connection::Session& session, xkb_mod_mask_t shift, xkb_mod_mask_t third) {
    const XcbPtr<xcb_xkb_get_map_reply_t> reply(xcb_xkb_get_map_reply(
        session.get(),
        xcb_xkb_get_map(session.get(), XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_MAP_PART_KEY_TYPES, 0, 0, 0, 0, 0, 0,
                        0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
        nullptr));
    if (!reply) return 0;
    xcb_xkb_get_map_map_t parts{};
    xcb_xkb_get_map_map_unpack(xcb_xkb_get_map_map(reply.get()), reply->nTypes, reply->nKeySyms,
                               reply->nKeyActions, reply->totalActions, reply->totalKeyBehaviors,
                               reply->virtualMods, reply->totalKeyExplicit, reply->totalModMapKeys,
                               reply->totalVModMapKeys, reply->present, &parts);
    auto types = xcb_xkb_get_map_map_types_rtrn_iterator(reply.get(), &parts);
    for (std::uint8_t number = 0; types.rem > 0; ++number, xcb_xkb_key_type_next(&types)) {
        if (types.data->numLevels != 4 || types.data->mods_mask != (shift | third)) continue;
        int matching = 0;
        for (int at = 0; at < xcb_xkb_key_type_map_length(types.data); ++at) {
            const xcb_xkb_kt_map_entry_t& entry = xcb_xkb_key_type_map(types.data)[at];
            const bool matches = (entry.mods_mask == shift && entry.level == 1) ||
                                 (entry.mods_mask == third && entry.level == 2) ||
                                 (entry.mods_mask == (shift | third) && entry.level == 3);
            if (entry.active != 0 && matches) ++matching;
        }
        if (matching == 3) return number;
    }
    return 0;
}

}  // namespace

void KeyRemapper::start(X11Connection::Session& session) {
    forget();
    recorded_ = false;
    owner_ = xcb_generate_id(session.get());
    xcb_create_window(session.get(), XCB_COPY_FROM_PARENT, owner_, session.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    mark_ = std::random_device{}();
    xcb_change_property(session.get(), XCB_PROP_MODE_REPLACE, owner_, session.atom(recoveryProperty),
                        XCB_ATOM_CARDINAL, 32, 1, &mark_);

    recover(session);
}

/// Restores what owners did that are gone.
void KeyRemapper::recover(X11Connection::Session& session) {
    if (readRecords(session).empty()) return;
    const ServerGrab grab(session);
    auto records = readRecords(session);
    const auto dead = std::erase_if(records, [&](const RecoveryRecord& record) {
        if (isOwnerAlive(session, record)) return false;
        emptyKey(session, record.key, record.keysym);
        return true;
    });
    if (dead == 0) return;
    releaseHeldKeys(session);
    replaceRecords(session, records);
}

void KeyRemapper::begin(X11Connection::Session& session) {
    if (recorded_) return;
    recover(session);
    recorded_ = true;
    writeRecords(session);
}

void KeyRemapper::adopt(X11Connection::Session& session, const KeyboardMap& map) {
    const xkb_mod_mask_t shift = map.modifierMask(XKB_KEY_Shift_L);
    const xkb_mod_mask_t third = map.modifierMask(XKB_KEY_ISO_Level3_Shift);
    keyType_ = shift != 0 && third != 0 ? findFourLevelType(session, shift, third) : 0;
    if (keyType_ != 0) {
        levels_ = maxLevels;
    } else {
        keyType_ = shift != 0 ? twoLevelType : oneLevelType;
        levels_ = shift != 0 ? 2 : 1;
    }
    dropChangedSlots(map);
}

void KeyRemapper::dropChangedSlots(const KeyboardMap& map) {
    std::erase_if(slots_, [&](const auto& slot) {
        const auto& [key, onLevels] = slot;
        for (std::size_t level = 0; level < onLevels.size(); ++level) {
            if (map.keysymAt(key, static_cast<xkb_level_index_t>(level)) == onLevels[level]) continue;
            std::erase_if(bound_, [&](const auto& entry) { return entry.second == slot.first; });
            return true;
        }
        return false;
    });
}

std::vector<xcb_keycode_t> KeyRemapper::usableKeys(const KeyboardMap& map) const {
    std::set<xcb_keycode_t> keys(map.spareKeys().begin(), map.spareKeys().end());
    for (const auto& slot : slots_) keys.insert(slot.first);
    return {keys.begin(), keys.end()};
}

std::size_t KeyRemapper::capacity(const KeyboardMap& map) const {
    return usableKeys(map).size() * levels_;
}

/// Whole keys first, so that few texts need a modifier at all.
std::vector<KeyRemapper::Place> KeyRemapper::freePlaces(const KeyboardMap& map) const {
    const auto keys = usableKeys(map);
    std::vector<Place> places;
    for (std::size_t level = 0; level < levels_; ++level) {
        for (const xcb_keycode_t key : keys) {
            const auto slot = slots_.find(key);
            const bool taken = slot != slots_.end() && level < slot->second.size() &&
                               slot->second[level] != XKB_KEY_NoSymbol;
            if (!taken) places.push_back({key, level});
        }
    }
    return places;
}

bool KeyRemapper::wouldReplace(const KeyboardMap& map, const std::vector<xkb_keysym_t>& keysyms) const {
    const auto missing = std::count_if(keysyms.begin(), keysyms.end(), [&](auto k) { return !isBound(k); });
    return static_cast<std::size_t>(missing) > freePlaces(map).size();
}

void KeyRemapper::makeRoom(const std::vector<xkb_keysym_t>& wanted, std::size_t needed) {
    const std::set<xkb_keysym_t> keep(wanted.begin(), wanted.end());
    for (auto& [key, onLevels] : slots_) {
        for (xkb_keysym_t& keysym : onLevels) {
            if (needed == 0) return;
            if (keysym == XKB_KEY_NoSymbol || keep.contains(keysym)) continue;
            bound_.erase(keysym);
            keysym = XKB_KEY_NoSymbol;
            --needed;
        }
    }
}

bool KeyRemapper::bind(X11Connection::Session& session, const KeyboardMap& map,
                       const std::vector<xkb_keysym_t>& keysyms) {
    std::vector<xkb_keysym_t> missing;
    for (const xkb_keysym_t keysym : keysyms) {
        if (!isBound(keysym)) missing.push_back(keysym);
    }
    if (missing.empty()) return true;

    const std::size_t free = freePlaces(map).size();
    if (missing.size() > free) makeRoom(keysyms, missing.size() - free);
    const auto places = freePlaces(map);
    std::set<xcb_keycode_t> changed;
    for (std::size_t at = 0; at < std::min(missing.size(), places.size()); ++at) {
        auto& onLevels = slots_[places[at].key];
        onLevels.resize(std::max(onLevels.size(), places[at].level + 1), XKB_KEY_NoSymbol);
        onLevels[places[at].level] = missing[at];
        bound_[missing[at]] = places[at].key;
        changed.insert(places[at].key);
    }
    // Recorded before the keys are remapped: whenever this process dies, the next one can recover them.
    recorded_ = true;
    writeRecords(session);
    return write(session, map, {changed.begin(), changed.end()});
}

bool KeyRemapper::write(X11Connection::Session& session, const KeyboardMap& map,
                        const std::vector<xcb_keycode_t>& keys) {
    for (const xcb_keycode_t key : keys) {
        auto& onLevels = slots_[key];
        onLevels.resize(levels_, XKB_KEY_NoSymbol);
        setKey(session.get(), map.minKeyCode(), map.maxKeyCode(), key, onLevels, keyType_);
    }
    return session.synchronise();
}

void KeyRemapper::writeRecords(X11Connection::Session& session) {
    const ServerGrab grab(session);
    auto records = readRecords(session);
    std::erase_if(records, [&](const RecoveryRecord& record) {
        return record.owner == owner_ && record.mark == mark_;
    });
    if (recorded_) records.push_back({owner_, mark_, 0, XKB_KEY_NoSymbol});
    for (const auto& [key, onLevels] : slots_) {
        records.push_back({owner_, mark_, key, onLevels.empty() ? XKB_KEY_NoSymbol : onLevels.front()});
    }
    replaceRecords(session, records);
}

void KeyRemapper::restore(X11Connection::Session& session) {
    if (!recorded_) return;
    for (const auto& [key, onLevels] : slots_) emptyKey(session, key, onLevels.front());
    session.synchronise();
    forget();
    recorded_ = false;
    writeRecords(session);
    // Another owner may have died while this process used the keyboard.
    recover(session);
}

void KeyRemapper::forget() {
    slots_.clear();
    bound_.clear();
}

}  // namespace varkel
