#include "platform/linux/input/X11EventPoster.h"

#include <unicode/unistr.h>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "base/StartThread.h"
#include "platform/linux/input/Keysyms.h"

namespace varkel {

namespace {

/// A post may have to wait for an application to catch up before a key code gets a new meaning.
constexpr std::chrono::milliseconds postDeadline{6000};

/// Remapped key codes stay bound this long after the last use: the next text finds them in place, and
/// applications that read late still find what they need.
constexpr std::chrono::milliseconds idleBeforeRestoring{400};

/// A key or button that has been down for longer was forgotten by a request that ended in the middle.
constexpr std::chrono::milliseconds longestHold{2000};

/// Between two attempts to restore the keyboard.
constexpr std::chrono::milliseconds retryAfter{1000};

/// A session that takes this long and fails had a server that does not answer; one that is not there fails at
/// once. A server that does not answer is asked again and again, this long each time.
constexpr std::chrono::milliseconds probeLimit{1000};

/// What a text and an event wait for a server that does not answer, before they are lost: were each to find
/// out for itself, a long text would take hours, and all requests that type would stand behind it.
constexpr std::chrono::milliseconds textPatience{1000};
constexpr std::chrono::milliseconds eventPatience{50};

/// An application that has not read its events by then is taken for dead.
constexpr std::chrono::seconds longestRemapping{20};

/// More steps than a person turns a wheel at once; each is two events.
constexpr std::int32_t maxWheelSteps = 1000;

enum Button : std::uint8_t { leftButton = 1, wheelUp = 4, wheelDown = 5, wheelLeft = 6, wheelRight = 7 };

std::int16_t pixel(double coordinate) {
    if (!std::isfinite(coordinate)) return 0;
    constexpr double lowest = std::numeric_limits<std::int16_t>::min();
    constexpr double highest = std::numeric_limits<std::int16_t>::max();
    return static_cast<std::int16_t>(std::clamp(std::floor(coordinate), lowest, highest));
}

void moveTo(X11Connection::Session& session, CGPoint point) {
    xcb_test_fake_input(session.get(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, session.root(), pixel(point.x),
                        pixel(point.y), 0);
}

/// The button of the device that applications get as this one: a left-handed person's mapping, or one that
/// turns the wheel around, applies to posted events as well.
std::uint8_t deviceButton(X11Connection::Session& session, std::uint8_t wanted) {
    const XcbPtr<xcb_get_pointer_mapping_reply_t> reply(
        xcb_get_pointer_mapping_reply(session.get(), xcb_get_pointer_mapping(session.get()), nullptr));
    if (!reply) return wanted;
    const std::uint8_t* map = xcb_get_pointer_mapping_map(reply.get());
    const std::uint8_t* end = map + xcb_get_pointer_mapping_map_length(reply.get());
    const std::uint8_t* found = std::find(map, end, wanted);
    return found == end ? wanted : static_cast<std::uint8_t>(found - map + 1);
}

void button(X11Connection::Session& session, std::uint8_t type, std::uint8_t number) {
    xcb_test_fake_input(session.get(), type, number, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

void turnWheel(X11Connection::Session& session, std::int32_t steps, std::uint8_t forward,
               std::uint8_t backward) {
    const std::int32_t count = std::min(std::abs(std::max(steps, -maxWheelSteps)), maxWheelSteps);
    if (count == 0) return;
    const std::uint8_t number = deviceButton(session, steps > 0 ? forward : backward);
    for (std::int32_t step = 0; step < count; ++step) {
        button(session, XCB_BUTTON_PRESS, number);
        button(session, XCB_BUTTON_RELEASE, number);
    }
}

std::vector<xkb_keysym_t> heldModifiers(CGEventFlags flags, bool withShift) {
    std::vector<xkb_keysym_t> held;
    if ((flags & CGEventFlag::control) != 0) held.push_back(XKB_KEY_Control_L);
    if ((flags & CGEventFlag::alternate) != 0) held.push_back(XKB_KEY_Alt_L);
    if ((flags & CGEventFlag::command) != 0) held.push_back(XKB_KEY_Super_L);
    if (withShift && (flags & CGEventFlag::shift) != 0) held.push_back(XKB_KEY_Shift_L);
    return held;
}

}  // namespace

class X11EventPoster::Announcement : public TextAnnouncement {
  public:
    Announcement(X11EventPoster& poster, std::list<PlannedText>::iterator text)
        : poster_(poster), text_(text) {}
    ~Announcement() override { poster_.endAnnouncement(text_); }

  private:
    X11EventPoster& poster_;
    std::list<PlannedText>::iterator text_;
};

X11EventPoster::X11EventPoster(std::string display) : connection_(std::move(display)) {}

X11EventPoster::~X11EventPoster() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_one();
    if (backgroundThread_.joinable()) backgroundThread_.join();
}

void X11EventPoster::postTogether(std::span<const CGEvent> events) {
    std::unique_lock lock(mutex_);
    withServer(lock, eventPatience, [&](X11Connection::Session& session) {
        for (const CGEvent& event : events) post(session, event);
    });
}

/// Calls `use` with a session of a server that answers. Without one, waits for it this long with the lock
/// released.
template <class Use>
void X11EventPoster::withServer(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds patience,
                                Use use) {
    if (stalled_ && !answersAgain_.wait_for(lock, patience, [this] { return !stalled_; })) return;
    const auto began = std::chrono::steady_clock::now();
    X11Connection::Session session(connection_, postDeadline);
    // Keys that were down on an earlier connection are released when the keyboard is recovered from it.
    if (generation_ != session.generation()) down_.clear();
    generation_ = session.generation();
    if (session) use(session);
    const bool tooLong = !session && std::chrono::steady_clock::now() >= began + probeLimit;
    stalled_ = tooLong && wakeBackgroundThread();
}

/// Called with the lock held, by the background thread.
void X11EventPoster::probe(std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    const auto began = std::chrono::steady_clock::now();
    bool answered = false;
    {
        X11Connection::Session session(connection_, probeLimit);
        answered = session && session.synchronise();
    }
    lock.lock();
    stalled_ = !answered && std::chrono::steady_clock::now() >= began + probeLimit;
    if (!stalled_) answersAgain_.notify_all();
}

/// The keys of a text, or of a chord on its own, go to an application that listens. Called with the lock
/// held: another text at this moment would go to it as well.
void X11EventPoster::awaitReceiver(X11Connection::Session& session) {
    const KeyReceiver receiver = keyReceiver(session);
    if (receiver.process && receiver == receiver_) return;
    receiver_ = waitUntilKeysAreHeard(session);
    keyboard_.forgetMap();
}

void X11EventPoster::post(X11Connection::Session& session, const CGEvent& event) {
    switch (event.type) {
        case CGEventType::mouseMoved:
        case CGEventType::leftMouseDown:
        case CGEventType::leftMouseUp:
            postMouse(session, event);
            break;
        case CGEventType::scrollWheel:
            postWheel(session, event);
            break;
        case CGEventType::keyDown:
            postKeyDown(session, event);
            break;
        case CGEventType::keyUp:
            postKeyUp(session, event);
            break;
    }
}

void X11EventPoster::postMouse(X11Connection::Session& session, const CGEvent& event) {
    // A button event happens where the pointer is, so the pointer goes along even when nothing else moved it.
    moveTo(session, event.point);
    if (event.type == CGEventType::mouseMoved) return;
    const bool down = event.type == CGEventType::leftMouseDown;
    button(session, down ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, deviceButton(session, leftButton));
    buttonDown_ = down || !session;
    restoreSoon();
}

void X11EventPoster::postWheel(X11Connection::Session& session, const CGEvent& event) {
    moveTo(session, event.point);
    turnWheel(session, event.verticalSteps, wheelUp, wheelDown);
    turnWheel(session, event.horizontalSteps, wheelLeft, wheelRight);
}

void X11EventPoster::postKeyDown(X11Connection::Session& session, const CGEvent& event) {
    std::vector<xkb_keysym_t> keysyms;
    bool holdsShift = true;
    if (!event.unicodeString.empty()) {
        keysyms = keysymsForText(event.unicodeString);
    } else if (const auto meaning = keysymForKey(event.keyCode, (event.flags & CGEventFlag::shift) != 0)) {
        keysyms.push_back(meaning->keysym);
        holdsShift = !meaning->shiftChoosesCharacter;
    }
    const auto modifiers = heldModifiers(event.flags, holdsShift);
    if (!keyboard_.inUse()) awaitReceiver(session);

    // Of a string of several, all but the last are whole presses; the last one's key comes up with the
    // key-up.
    for (std::size_t at = 0; at < keysyms.size(); ++at) {
        const auto key = keyboard_.press(session, keysyms[at], modifiers, texts_);
        if (!key) continue;
        if (at + 1 < keysyms.size()) {
            keyboard_.release(session, *key);
        } else {
            down_.emplace(PressId{event.keyCode, event.flags, event.unicodeString}, *key);
        }
    }
    restoreSoon();
}

void X11EventPoster::postKeyUp(X11Connection::Session& session, const CGEvent& event) {
    const auto pressed = down_.find(PressId{event.keyCode, event.flags, event.unicodeString});
    if (pressed == down_.end()) return;
    keyboard_.release(session, pressed->second);
    down_.erase(pressed);
    restoreSoon();
}

std::unique_ptr<TextAnnouncement> X11EventPoster::announceText(std::string_view text) {
    std::unique_lock lock(mutex_);
    PlannedText planned;
    const auto units =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    planned.keysyms = keysymsForText({units.getBuffer(), static_cast<std::size_t>(units.length())});
    const auto entry = texts_.insert(texts_.end(), std::move(planned));
    withServer(lock, textPatience, [&](X11Connection::Session& session) {
        awaitReceiver(session);
        keyboard_.prepare(session, *entry);
    });
    return std::make_unique<Announcement>(*this, entry);
}

void X11EventPoster::endAnnouncement(std::list<PlannedText>::iterator text) {
    const std::lock_guard lock(mutex_);
    texts_.erase(text);
    restoreSoon();
}

/// Called with the lock held.
void X11EventPoster::restoreSoon() {
    lastUse_ = std::chrono::steady_clock::now();
    if (inUse()) wakeBackgroundThread();
}

/// Called with the lock held. False when no thread can be had: the next event brings another attempt.
bool X11EventPoster::wakeBackgroundThread() {
    const bool runs =
        backgroundThread_.joinable() || startThread(backgroundThread_, [this] { runInBackground(); });
    changed_.notify_one();
    return runs;
}

/// Called with the lock held. Whether there is anything to release or restore.
bool X11EventPoster::inUse() const {
    return keyboard_.inUse() || buttonDown_;
}

/// Called with the lock held. Whether no text is being typed and nothing was typed for a moment.
bool X11EventPoster::isIdle() const {
    const auto quiet = std::chrono::steady_clock::now() - lastUse_;
    return texts_.empty() && quiet >= (down_.empty() && !buttonDown_ ? idleBeforeRestoring : longestHold);
}

/// Restores the keyboard and asks a server that does not answer, off the callers' threads, so that no request
/// waits for it.
void X11EventPoster::runInBackground() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (stalled_) {
            probe(lock);
        } else if (!inUse()) {
            changed_.wait(lock);
        } else if (!isIdle()) {
            changed_.wait_for(lock, idleBeforeRestoring);
        } else if (!restoreKeyboard(lock)) {
            changed_.wait_for(lock, retryAfter);
        }
    }
    if (inUse()) restoreKeyboard(lock);
}

/// Called with the lock held. Whether it was done.
bool X11EventPoster::restoreKeyboard(std::unique_lock<std::mutex>& lock) {
    bool done = false;
    withServer(lock, std::chrono::milliseconds(0), [&](X11Connection::Session& session) {
        // The requests that pressed these have ended without releasing them.
        for (const auto& pressed : down_) keyboard_.release(session, pressed.second);
        down_.clear();
        if (buttonDown_) button(session, XCB_BUTTON_RELEASE, deviceButton(session, leftButton));
        buttonDown_ = !session;
        const bool overdue = std::chrono::steady_clock::now() > lastUse_ + longestRemapping;
        const auto reading = overdue || stopping_ ? Keyboard::Reading::ignored : Keyboard::Reading::required;
        done = !keyboard_.inUse() || keyboard_.restore(session, reading);
    });
    return done;
}

}  // namespace varkel
