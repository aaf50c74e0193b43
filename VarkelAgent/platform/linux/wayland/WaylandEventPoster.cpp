#include "platform/linux/wayland/WaylandEventPoster.h"

#include <sys/mman.h>
#include <unicode/unistr.h>
#include <unistd.h>
#include <virtual-keyboard-v1-client.h>
#include <virtual-pointer-v1-client.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <utility>

#include "base/FileDescriptor.h"
#include "platform/linux/input/Keysyms.h"
#include "platform/linux/process/ProcessActivity.h"

namespace varkel {

namespace {

/// What a compositor that does not answer may cost a request that posts.
constexpr std::chrono::milliseconds postLimit{2000};

/// How long an application that was asked to come to the front gets for it.
constexpr std::chrono::milliseconds frontPatience{1000};
constexpr std::chrono::milliseconds frontPoll{10};

/// How long a text waits for one that is being typed into another window.
constexpr std::chrono::milliseconds otherTextPatience{3000};

/// X11 programs look up what a key means when they read it: they get this long before it means another thing.
constexpr std::chrono::milliseconds x11ReadingTime{250};

/// How long the application in front gets to notice that there is a keyboard and a pointer.
constexpr std::chrono::milliseconds noticingPatience{1000};

/// More steps than a person turns a wheel at once, and fewer than an application that is busy could not take.
constexpr std::int32_t maxWheelSteps = 100;
/// As many as fit what may be underway to the compositor.
constexpr std::int32_t wheelStepsAtOnce = 16;
constexpr int wheelStep = 15;

constexpr std::uint32_t leftButton = 0x110;
enum Axis : std::uint32_t { verticalAxis = 0, horizontalAxis = 1 };
constexpr std::uint32_t fromWheel = 0;

/// The bits of XKB's modifiers.
enum Modifier : std::uint32_t { shiftBit = 1, controlBit = 4, altBit = 8, superBit = 64 };

std::uint32_t modifiersOf(CGEventFlags flags, bool withShift) {
    std::uint32_t bits = 0;
    if ((flags & CGEventFlag::control) != 0) bits |= controlBit;
    if ((flags & CGEventFlag::alternate) != 0) bits |= altBit;
    if ((flags & CGEventFlag::command) != 0) bits |= superBit;
    if (withShift && (flags & CGEventFlag::shift) != 0) bits |= shiftBit;
    return bits;
}

std::uint32_t now() {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

EventError lost() {
    return EventError("The compositor does not answer, or has gone.");
}

/// A file that the compositor and the applications may map.
FileDescriptor fileWith(const std::string& text) {
    FileDescriptor file(memfd_create("varkel-keymap", MFD_CLOEXEC));
    for (std::size_t at = 0; file && at < text.size();) {
        const auto count = write(file.get(), text.data() + at, text.size() - at);
        if (count <= 0) return FileDescriptor();
        at += static_cast<std::size_t>(count);
    }
    return file;
}

}  // namespace

class WaylandEventPoster::Announcement : public TextAnnouncement {
  public:
    Announcement(WaylandEventPoster& poster, std::list<Text>::iterator text) : poster_(poster), text_(text) {}
    ~Announcement() override { poster_.endAnnouncement(text_); }

  private:
    WaylandEventPoster& poster_;
    std::list<Text>::iterator text_;
};

bool WaylandEventPoster::isOffered(const WaylandConnection& connection) {
    return connection.offers(zwp_virtual_keyboard_manager_v1_interface.name) &&
           connection.offers(zwlr_virtual_pointer_manager_v1_interface.name);
}

void WaylandEventPoster::connect(Clock::time_point deadline) {
    if (connection_.isConnected()) return;
    if (!connection_.connect(deadline)) throw lost();
    seat_ = connection_.bind<wl_seat>(wl_seat_interface, 1);
    const WaylandPtr<zwp_virtual_keyboard_manager_v1, zwp_virtual_keyboard_manager_v1_destroy> keyboards(
        connection_.bind<zwp_virtual_keyboard_manager_v1>(zwp_virtual_keyboard_manager_v1_interface, 1));
    const WaylandPtr<zwlr_virtual_pointer_manager_v1, zwlr_virtual_pointer_manager_v1_destroy> pointers(
        connection_.bind<zwlr_virtual_pointer_manager_v1>(zwlr_virtual_pointer_manager_v1_interface, 1));
    if (seat_ == nullptr || !keyboards || !pointers) {
        disconnect();
        throw EventError("The compositor lets no program play a keyboard and a pointer.");
    }
    static constexpr wl_seat_listener listener{takeCapabilities, ignoreName};
    wl_seat_add_listener(seat_, &listener, this);
    synchronise(deadline);
    constexpr std::uint32_t both = WL_SEAT_CAPABILITY_KEYBOARD | WL_SEAT_CAPABILITY_POINTER;
    const bool hadBoth = (capabilities_ & both) == both;
    keyboard_ = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(keyboards.get(), seat_);
    pointer_ = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(pointers.get(), seat_);
    sendKeymap();
    hold_.open(seat_, deadline);
    synchronise(deadline);
    if (!hadBoth) awaitDevicesKnown();
}

/// Applications begin to listen to a keyboard and a pointer when the first of them is plugged in, and what
/// comes before that is lost.
void WaylandEventPoster::awaitDevicesKnown() {
    const auto focus = focus_.keyFocus(Clock::now() + postLimit);
    if (focus && focus->process) waitUntilIdle(*focus->process, noticingPatience);
}

void WaylandEventPoster::takeCapabilities(void* self, wl_seat* /*seat*/, std::uint32_t capabilities) {
    static_cast<WaylandEventPoster*>(self)->capabilities_ = capabilities;
}

void WaylandEventPoster::ignoreName(void* /*self*/, wl_seat* /*seat*/, const char* /*name*/) {}

void WaylandEventPoster::disconnect() {
    hold_.clear();
    outputs_.clear();
    if (keyboard_ != nullptr) zwp_virtual_keyboard_v1_destroy(std::exchange(keyboard_, nullptr));
    if (pointer_ != nullptr) zwlr_virtual_pointer_v1_destroy(std::exchange(pointer_, nullptr));
    if (seat_ != nullptr) wl_seat_destroy(std::exchange(seat_, nullptr));
    connection_.disconnect();
}

void WaylandEventPoster::synchronise(Clock::time_point deadline) {
    if (connection_.synchronise(deadline)) return;
    disconnect();
    throw lost();
}

void WaylandEventPoster::postTogether(std::span<const CGEvent> events) {
    const std::lock_guard lock(mutex_);
    const auto deadline = Clock::now() + postLimit;
    for (const CGEvent& event : events) post(event, deadline);
}

void WaylandEventPoster::post(const CGEvent& event, Clock::time_point deadline) {
    if (event.type == CGEventType::keyUp) return;
    // A compositor that has gone is noticed before anything is said to the next one.
    if (connection_.isConnected() && connection_.hasEnded()) disconnect();
    connect(deadline);
    if (event.type == CGEventType::keyDown) return postKeyDown(event, deadline);
    postMouse(event, deadline);
    synchronise(deadline);
}

void WaylandEventPoster::postMouse(const CGEvent& event, Clock::time_point deadline) {
    if (!outputs_.load(connection_, deadline)) throw lost();
    moveTo(event.point);
    if (event.type == CGEventType::scrollWheel) {
        turnWheel(verticalAxis, event.verticalSteps, deadline);
        turnWheel(horizontalAxis, event.horizontalSteps, deadline);
    } else if (event.type != CGEventType::mouseMoved) {
        const bool down = event.type == CGEventType::leftMouseDown;
        zwlr_virtual_pointer_v1_button(pointer_, now(), leftButton, down ? 1 : 0);
        zwlr_virtual_pointer_v1_frame(pointer_);
    }
}

/// In halves of the layout's units: the middle of the pixel is where nothing is rounded away from it.
void WaylandEventPoster::moveTo(CGPoint point) {
    const LayoutArea area = outputs_.layout();
    if (area.width <= 0 || area.height <= 0) throw EventError("There is no screen to click on.");
    const auto middle = [](double coordinate, std::int32_t origin, std::int32_t size) {
        const double inside = std::isfinite(coordinate) ? std::floor(coordinate) - origin : 0;
        return static_cast<std::uint32_t>(std::clamp(inside, 0.0, size - 1.0)) * 2 + 1;
    };
    zwlr_virtual_pointer_v1_motion_absolute(
        pointer_, now(), middle(point.x, area.x, area.width), middle(point.y, area.y, area.height),
        static_cast<std::uint32_t>(area.width) * 2, static_cast<std::uint32_t>(area.height) * 2);
    zwlr_virtual_pointer_v1_frame(pointer_);
}

void WaylandEventPoster::turnWheel(std::uint32_t axis, std::int32_t steps, Clock::time_point deadline) {
    const std::int32_t count = std::min(std::abs(std::max(steps, -maxWheelSteps)), maxWheelSteps);
    // Wayland counts down and right.
    const int direction = steps > 0 ? -1 : 1;
    for (std::int32_t step = 1; step <= count; ++step) {
        zwlr_virtual_pointer_v1_axis_source(pointer_, fromWheel);
        zwlr_virtual_pointer_v1_axis_discrete(pointer_, now(), axis, wl_fixed_from_int(direction * wheelStep),
                                              direction);
        zwlr_virtual_pointer_v1_frame(pointer_);
        if (step % wheelStepsAtOnce == 0) synchronise(deadline);
    }
}

void WaylandEventPoster::postKeyDown(const CGEvent& event, Clock::time_point deadline) {
    std::vector<xkb_keysym_t> keysyms;
    bool holdsShift = true;
    if (!event.unicodeString.empty()) {
        keysyms = keysymsForText(event.unicodeString);
    } else if (const auto meaning = keysymForKey(event.keyCode, (event.flags & CGEventFlag::shift) != 0)) {
        keysyms.push_back(meaning->keysym);
        holdsShift = !meaning->shiftChoosesCharacter;
    }
    if (texts_.empty()) {
        awaitReceiver(deadline);
        deadline = Clock::now() + postLimit;
    }
    for (const xkb_keysym_t keysym : keysyms) {
        pace_.await(askFocus(deadline).process);
        deadline = Clock::now() + postLimit;
        const KeyFocus focus = askFocus(deadline);
        const bool strayed =
            std::ranges::any_of(texts_, [&focus](const Text& text) { return text.window != focus.window; });
        if (strayed || !holdKeys(focus, deadline)) throw EventError("Another window has come to the front.");
        bind(keysym, focus, deadline);
        press(keysym, modifiersOf(event.flags, holdsShift), deadline);
    }
}

/// False when another window than a text or an activation is for has the keyboard.
bool WaylandEventPoster::holdKeys(const KeyFocus& focus, Clock::time_point deadline) {
    if (texts_.empty() && focus.activation != Activation::done) {
        hold_.release();
        return true;
    }
    const auto isHeld = hold_.holdTo(focus, focus_, deadline);
    if (isHeld) return *isHeld;
    disconnect();
    throw lost();
}

/// All of it is sent at once, so that nothing can leave the key down.
void WaylandEventPoster::press(xkb_keysym_t keysym, std::uint32_t modifiers, Clock::time_point deadline) {
    const auto stroke = keymap_.find(keysym);
    if (!stroke) return;
    hold_.beforeKey();
    const std::uint32_t held = modifiers | (stroke->shift ? shiftBit : 0U);
    if (held != 0) zwp_virtual_keyboard_v1_modifiers(keyboard_, held, 0, 0, 0);
    zwp_virtual_keyboard_v1_key(keyboard_, now(), stroke->key, WL_KEYBOARD_KEY_STATE_PRESSED);
    zwp_virtual_keyboard_v1_key(keyboard_, now(), stroke->key, WL_KEYBOARD_KEY_STATE_RELEASED);
    if (held != 0) zwp_virtual_keyboard_v1_modifiers(keyboard_, 0, 0, 0, 0);
    synchronise(deadline);
    if (hold_.afterKey(deadline)) return;
    disconnect();
    throw lost();
}

/// Sees to it that the keysym has a key, and those that a text brings next, as far as they fit.
void WaylandEventPoster::bind(xkb_keysym_t keysym, const KeyFocus& focus, Clock::time_point deadline) {
    for (Text& text : texts_) {
        if (text.next < text.keysyms.size() && text.keysyms[text.next] == keysym) ++text.next;
    }
    const bool known = keymap_.find(keysym).has_value();
    const bool inPlace = keymapSent_ && keyboardChanges_ == focus.keyboardChanges;
    if (known && inPlace) return;
    std::vector<xkb_keysym_t> upcoming{keysym};
    for (const Text& text : texts_) {
        upcoming.insert(upcoming.end(), text.keysyms.begin() + static_cast<std::ptrdiff_t>(text.next),
                        text.keysyms.end());
    }
    if (!known && inPlace && focus.xwayland) std::this_thread::sleep_for(x11ReadingTime);
    keymap_.bind(upcoming);
    sendKeymap();
    keyboardChanges_ = focus.keyboardChanges;
    synchronise(deadline);
}

void WaylandEventPoster::sendKeymap() {
    const std::string text = keymap_.text();
    const FileDescriptor file = text.empty() ? FileDescriptor() : fileWith(text + '\0');
    if (!file) throw EventError("No keymap could be made.");
    zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file.get(),
                                   static_cast<std::uint32_t>(text.size() + 1));
    keymapSent_ = true;
}

KeyFocus WaylandEventPoster::askFocus(Clock::time_point deadline) {
    const auto focus = focus_.keyFocus(deadline);
    if (!focus) throw EventError("The compositor does not tell which window is in front.");
    return *focus;
}

/// Waits until the one that was asked to come to the front has, and has come to rest when it was just
/// started; who gets the keys then.
KeyFocus WaylandEventPoster::awaitReceiver(Clock::time_point deadline) {
    const auto until = std::min(deadline, Clock::now() + frontPatience);
    KeyFocus focus = askFocus(deadline);
    while (focus.activation == Activation::awaited) {
        if (Clock::now() >= until)
            throw EventError("The application that the keys are for did not come to the front.");
        std::this_thread::sleep_for(frontPoll);
        focus = askFocus(deadline);
    }
    if (!focus.process || focus.process == settled_) return focus;
    waitUntilSettled(*focus.process);
    settled_ = focus.process;
    return askFocus(Clock::now() + postLimit);
}

std::unique_ptr<TextAnnouncement> WaylandEventPoster::announceText(std::string_view text) {
    Text planned;
    const auto units =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    planned.keysyms = keysymsForText({units.getBuffer(), static_cast<std::size_t>(units.length())});
    std::unique_lock lock(mutex_);
    planned.window = awaitReceiver(Clock::now() + postLimit).window;
    awaitOtherTexts(lock, planned.window);
    if (texts_.empty()) hold_.release();
    return std::make_unique<Announcement>(*this, texts_.insert(texts_.end(), std::move(planned)));
}

/// Two texts at once can only go to one window.
void WaylandEventPoster::awaitOtherTexts(std::unique_lock<std::mutex>& lock, WindowId window) {
    const auto isAlone = [&] {
        return std::ranges::all_of(texts_, [window](const Text& text) { return text.window == window; });
    };
    if (!textEnded_.wait_for(lock, otherTextPatience, isAlone))
        throw EventError("Another text is being typed into another window.");
}

void WaylandEventPoster::endAnnouncement(std::list<Text>::iterator text) {
    {
        const std::lock_guard lock(mutex_);
        texts_.erase(text);
    }
    textEnded_.notify_all();
}

}  // namespace varkel
