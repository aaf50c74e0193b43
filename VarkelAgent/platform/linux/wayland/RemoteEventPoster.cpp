#include "platform/linux/wayland/RemoteEventPoster.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <thread>
#include <utility>

#include "platform/linux/input/Keysyms.h"
#include "platform/linux/process/ProcessActivity.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

/// What a desktop that does not answer may cost a request that posts.
constexpr milliseconds postLimit{2000};
/// What the desktop gets to lend its devices, which takes it many steps, once.
constexpr milliseconds lendingLimit{10000};
/// How long an application that was asked to come to the front gets for it.
constexpr milliseconds frontPatience{1000};
constexpr milliseconds frontPoll{10};
/// How long one gets to say that it is in front, where none does: it may just be coming there, or be one that
/// never says so.
constexpr milliseconds unknownPatience{500};
/// How long applications get to notice a keyboard that is new: on a desktop without another one, no window is
/// active before they have.
constexpr milliseconds noticingTime{3000};
/// Once more, for what an application does between its being active and its reading keys.
constexpr milliseconds firstKeyDelay{100};
/// How long a text waits for one that is being typed into another window.
constexpr milliseconds otherTextPatience{3000};

std::vector<xkb_keysym_t> modifiersOf(CGEventFlags flags, bool withShift) {
    std::vector<xkb_keysym_t> held;
    if ((flags & CGEventFlag::control) != 0) held.push_back(XKB_KEY_Control_L);
    if ((flags & CGEventFlag::alternate) != 0) held.push_back(XKB_KEY_Alt_L);
    if ((flags & CGEventFlag::command) != 0) held.push_back(XKB_KEY_Super_L);
    if (withShift && (flags & CGEventFlag::shift) != 0) held.push_back(XKB_KEY_Shift_L);
    return held;
}

/// Terminals paste with other keys: theirs are for what runs in them. The system cuts names off at 15 bytes.
bool isTerminal(std::optional<pid_t> process) {
    constexpr std::array<std::string_view, 11> terminals{
        "gnome-terminal-", "kgx",   "konsole",     "foot",          "alacritty", "kitty",
        "xfce4-terminal",  "tilix", "wezterm-gui", "mate-terminal", "terminator"};
    std::ifstream file("/proc/" + std::to_string(process.value_or(0)) + "/comm");
    std::string name;
    std::getline(file, name);
    return std::ranges::find(terminals, name) != terminals.end();
}

std::string textOf(xkb_keysym_t keysym) {
    std::array<char, 8> buffer{};
    const int size = xkb_keysym_to_utf8(keysym, buffer.data(), buffer.size());
    return size > 1 ? std::string(buffer.data(), static_cast<std::size_t>(size) - 1) : std::string();
}

}  // namespace

class RemoteEventPoster::Announcement : public TextAnnouncement {
  public:
    Announcement(RemoteEventPoster& poster, std::list<WindowId>::iterator text)
        : poster_(poster), text_(text) {}
    ~Announcement() override { poster_.endAnnouncement(text_); }

  private:
    RemoteEventPoster& poster_;
    std::list<WindowId>::iterator text_;
};

/// Opens those that were used last, as long as they are there, otherwise the first that the desktop lends.
void RemoteEventPoster::openDevices(Deadline deadline) {
    if (!chooseDevices(deadline)) return;
    const Deadline noticed = Deadline::in(noticingTime);
    while (askFocus(Deadline::in(postLimit)).window == 0 && !noticed.passed())
        std::this_thread::sleep_for(frontPoll);
    std::this_thread::sleep_for(firstKeyDelay);
}

/// Whether they are new.
bool RemoteEventPoster::chooseDevices(Deadline deadline) {
    if (devices_ != nullptr && devices_->isOffered(deadline))
        return devices_->open(Deadline::in(lendingLimit));
    devices_ = nullptr;
    for (const auto& each : offers_) {
        try {
            if (!each->isOffered(Deadline::in(postLimit))) continue;
            const bool isNew = each->open(Deadline::in(lendingLimit));
            devices_ = each.get();
            return isNew;
        } catch (const NotLent&) {
            continue;
        }
    }
    throw EventError("This desktop lets no program press keys or move the pointer.");
}

void RemoteEventPoster::postTogether(std::span<const CGEvent> events) {
    const std::lock_guard lock(mutex_);
    for (const CGEvent& event : events) post(event, Deadline::in(postLimit));
}

void RemoteEventPoster::post(const CGEvent& event, Deadline deadline) {
    if (event.type == CGEventType::keyUp) return;
    if (texts_.empty() || devices_ == nullptr) openDevices(deadline);
    if (event.type == CGEventType::keyDown) return postKeyDown(event, Deadline::in(postLimit));
    const Deadline until = Deadline::in(postLimit);
    devices_->moveTo(event.point, until);
    if (event.type == CGEventType::scrollWheel) {
        devices_->turnWheel(-event.verticalSteps, -event.horizontalSteps, until);
    } else if (event.type != CGEventType::mouseMoved) {
        devices_->button(event.type == CGEventType::leftMouseDown, until);
    }
}

void RemoteEventPoster::postKeyDown(const CGEvent& event, Deadline deadline) {
    std::vector<xkb_keysym_t> keysyms;
    bool holdsShift = true;
    if (!event.unicodeString.empty()) {
        keysyms = keysymsForText(event.unicodeString);
    } else if (const auto meaning = keysymForKey(event.keyCode, (event.flags & CGEventFlag::shift) != 0)) {
        keysyms.push_back(meaning->keysym);
        holdsShift = !meaning->shiftChoosesCharacter;
    }
    const auto modifiers = modifiersOf(event.flags, holdsShift);
    if (texts_.empty()) awaitReceiver(deadline);
    // A person may change the layout in the middle of a text.
    devices_->readLayout(Deadline::in(postLimit));
    std::string missing;
    for (const xkb_keysym_t keysym : keysyms) {
        if (!modifiers.empty() || devices_->hasKey(keysym)) {
            paste(std::exchange(missing, {}));
            pace_.await(checkedReceiver().process);
            devices_->press(keysym, modifiers, Deadline::in(postLimit));
        } else {
            missing += textOf(keysym);
        }
    }
    paste(missing);
    if (texts_.empty() && clipboard_) clipboard_->restore(Deadline::in(postLimit));
}

/// Who gets the keys now; what is typed goes to the window that it is for, or nowhere.
KeyFocus RemoteEventPoster::checkedReceiver() {
    KeyFocus receiver = askFocus(Deadline::in(postLimit));
    const bool strayed =
        std::ranges::any_of(texts_, [&receiver](WindowId window) { return window != receiver.window; });
    if (strayed) throw EventError("Another window has come to the front.");
    return receiver;
}

void RemoteEventPoster::paste(const std::string& text) {
    if (text.empty()) return;
    if (!clipboard_) throw EventError("The keyboard layout has no key for \"" + text + "\".");
    const Deadline deadline = Deadline::in(postLimit);
    const bool isForTerminal = isTerminal(checkedReceiver().process);
    clipboard_->paste(
        text,
        [&] {
            constexpr std::array<xkb_keysym_t, 2> both{XKB_KEY_Control_L, XKB_KEY_Shift_L};
            if (isForTerminal) return devices_->press(XKB_KEY_v, both, deadline);
            // A layout of other letters has no V that applications would take for one.
            if (devices_->hasKey(XKB_KEY_v)) return devices_->press(XKB_KEY_v, std::array{both[0]}, deadline);
            devices_->press(XKB_KEY_Insert, std::array{both[1]}, deadline);
        },
        deadline);
}

void RemoteEventPoster::switchWindow() {
    const std::lock_guard lock(mutex_);
    openDevices(Deadline::in(postLimit));
    constexpr std::array<xkb_keysym_t, 2> held{XKB_KEY_Alt_L, XKB_KEY_Shift_L};
    devices_->press(XKB_KEY_Escape, held, Deadline::in(postLimit));
}

KeyFocus RemoteEventPoster::askFocus(Deadline deadline) {
    const auto focus = focus_.keyFocus(Clock::now() + deadline.left());
    if (!focus) throw EventError("The desktop does not tell which window is in front.");
    return *focus;
}

/// Waits until the one that was asked to come to the front has, and has come to rest when it was just
/// started; who gets the keys then.
KeyFocus RemoteEventPoster::awaitReceiver(Deadline deadline) {
    const Deadline until = earlier(deadline, Deadline::in(frontPatience));
    KeyFocus focus = askFocus(deadline);
    const Deadline known = earlier(deadline, Deadline::in(unknownPatience));
    while (focus.window == 0 && !known.passed()) {
        std::this_thread::sleep_for(frontPoll);
        focus = askFocus(deadline);
    }
    while (focus.activation == Activation::awaited) {
        if (until.passed())
            throw EventError("The application that the keys are for did not come to the front.");
        std::this_thread::sleep_for(frontPoll);
        focus = askFocus(deadline);
    }
    if (!focus.process || focus.process == settled_) return focus;
    waitUntilSettled(*focus.process);
    settled_ = focus.process;
    return askFocus(Deadline::in(postLimit));
}

std::unique_ptr<TextAnnouncement> RemoteEventPoster::announceText(std::string_view /*text*/) {
    std::unique_lock lock(mutex_);
    openDevices(Deadline::in(postLimit));
    const WindowId window = awaitReceiver(Deadline::in(postLimit)).window;
    awaitOtherTexts(lock, window);
    return std::make_unique<Announcement>(*this, texts_.insert(texts_.end(), window));
}

/// Two texts at once can only go to one window.
void RemoteEventPoster::awaitOtherTexts(std::unique_lock<std::mutex>& lock, WindowId window) {
    const auto isAlone = [&] {
        return std::ranges::all_of(texts_, [window](WindowId other) { return other == window; });
    };
    if (!textEnded_.wait_for(lock, otherTextPatience, isAlone))
        throw EventError("Another text is being typed into another window.");
}

void RemoteEventPoster::endAnnouncement(std::list<WindowId>::iterator text) {
    {
        const std::lock_guard lock(mutex_);
        texts_.erase(text);
        if (texts_.empty() && clipboard_) clipboard_->restore(Deadline::in(postLimit));
    }
    textEnded_.notify_all();
}

}  // namespace varkel
