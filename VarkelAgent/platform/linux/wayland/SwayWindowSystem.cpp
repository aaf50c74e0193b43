#include "platform/linux/wayland/SwayWindowSystem.h"

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/linux/wayland/ActivationToken.h"
#include "platform/linux/wayland/Screencopy.h"
#include "platform/linux/wayland/WaylandEventPoster.h"

namespace varkel {

namespace {

/// What a compositor that does not answer may cost.
constexpr std::chrono::milliseconds patience{1000};
constexpr std::chrono::milliseconds activePoll{5};

/// For how long keys that follow an activation are for the one that was asked to come to the front.
constexpr std::chrono::milliseconds keysFollow{2000};

/// How long an application gets to read its events: it answers nothing that could be asked.
constexpr std::chrono::milliseconds readingTime{250};

const SwayView* find(const std::vector<SwayView>& views, WindowId window) {
    const auto found = std::ranges::find(views, window, [](const SwayView& view) { return view.window.id; });
    return found == views.end() ? nullptr : &*found;
}

const SwayView* focused(const std::vector<SwayView>& views) {
    const auto found = std::ranges::find(views, true, &SwayView::focused);
    return found == views.end() ? nullptr : &*found;
}

}  // namespace

/// Nothing when sway does not tell by then.
std::optional<SwayWindowSystem::Views> SwayWindowSystem::views(Clock::time_point deadline) {
    const std::unique_lock lock(mutex_, deadline);
    const Views* known = lock.owns_lock() ? watcher_.ask(deadline) : nullptr;
    return known == nullptr ? std::nullopt : std::optional(*known);
}

std::optional<pid_t> SwayWindowSystem::frontmostProcess(std::chrono::milliseconds limit) {
    const auto focus = keyFocus(Clock::now() + limit);
    return focus ? focus->process : std::nullopt;
}

std::optional<pid_t> SwayWindowSystem::frontmostProcessIfKnown() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    const Views* known = lock.owns_lock() ? watcher_.peek() : nullptr;
    const SwayView* view = known == nullptr ? nullptr : focused(*known);
    return view == nullptr ? std::nullopt : view->window.process;
}

std::optional<KeyFocus> SwayWindowSystem::keyFocus(Clock::time_point deadline) {
    const std::unique_lock lock(mutex_, deadline);
    const Views* known = lock.owns_lock() ? watcher_.ask(deadline) : nullptr;
    if (known == nullptr) return std::nullopt;
    KeyFocus focus;
    if (const SwayView* view = focused(*known)) {
        focus.window = view->window.id;
        focus.process = view->window.process;
        focus.xwayland = view->xwayland;
    }
    focus.activation = activationOf(meant_, meantUntil_, focus.process);
    focus.keyboardChanges = watcher_.keyboardChanges();
    return focus;
}

std::optional<std::vector<ClientWindow>> SwayWindowSystem::clientWindows() {
    const auto known = views(Clock::now() + patience);
    if (!known) return std::nullopt;
    std::vector<ClientWindow> windows;
    for (const SwayView& each : *known) windows.push_back(each.window);
    return windows;
}

bool SwayWindowSystem::isActive(WindowId window) {
    const auto focus = keyFocus(Clock::now() + patience);
    return focus && focus->window == window;
}

/// Called with the lock held.
bool SwayWindowSystem::run(const std::string& command, Clock::time_point deadline) {
    return commands_.ask(SwayIPC::Message::runCommand, command, deadline).has_value();
}

/// Windows that are on the screen and float are raised in turn; of others only the last is shown, since each
/// may be on a workspace of its own.
bool SwayWindowSystem::activate(const std::vector<WindowId>& windows, std::chrono::milliseconds limit) {
    if (windows.empty()) return false;
    const auto deadline = Clock::now() + limit;
    const auto known = views(deadline);
    if (!known) return false;
    {
        const std::unique_lock lock(mutex_, deadline);
        if (!lock.owns_lock()) return false;
        const SwayView* last = find(*known, windows.back());
        meant_ = last == nullptr ? std::nullopt : last->window.process;
        meantUntil_ = Clock::now() + limit + keysFollow;
        for (const WindowId each : windows) {
            const SwayView* view = find(*known, each);
            const bool raised = view != nullptr && view->floating && view->visible;
            if (!raised && each != windows.back()) continue;
            if (!run("[con_id=" + std::to_string(each) + "] focus", deadline)) return false;
        }
    }
    return awaitActive(windows, deadline);
}

bool SwayWindowSystem::awaitActive(const std::vector<WindowId>& windows, Clock::time_point deadline) {
    for (;;) {
        const auto focus = keyFocus(deadline);
        if (!focus) return false;
        if (focus->window != 0 && std::ranges::find(windows, focus->window) != windows.end()) return true;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(activePoll);
    }
}

ProcessWindows SwayWindowSystem::screenWindowsOf(pid_t process) {
    ProcessWindows found;
    const auto deadline = Clock::now() + patience;
    std::optional<Views> known;
    {
        const std::unique_lock lock(mutex_, deadline);
        const Views* now = lock.owns_lock() ? watcher_.askAnew(deadline) : nullptr;
        if (now != nullptr) known = *now;
    }
    found.knowTheirPlace = false;
    if (!known) return found;
    for (const SwayView& each : *known) {
        if (each.window.process != process) continue;
        if (each.xwayland) return xwayland_.screenWindowsOf(process);
        found.windows.push_back({each.area, each.title, {}, {}, false, each.focused});
    }
    return found;
}

bool SwayWindowSystem::isScreenReadable() {
    return isScreencopyOffered(Clock::now() + patience);
}

std::vector<std::string> SwayWindowSystem::describeSession() {
    std::vector<std::string> lines{"session=sway (Wayland)"};
    WaylandConnection connection;
    if (!connection.connect(Clock::now() + patience)) {
        lines.emplace_back("hint_session=The compositor does not answer: see whether sway still runs");
    } else if (!WaylandEventPoster::isOffered(connection)) {
        lines.emplace_back("hint_session=This compositor lets no program play keys and the pointer");
    }
    if (!views(Clock::now() + patience)) {
        lines.emplace_back(
            "hint_windows=sway does not answer at its socket: start the agent from within sway, "
            "so that SWAYSOCK names the socket");
    }
    return lines;
}

std::vector<std::string> SwayWindowSystem::launchEnvironment() {
    return activationEnvironment(Clock::now() + patience);
}

void SwayWindowSystem::waitUntilEventsAreRead(std::chrono::milliseconds limit) {
    std::this_thread::sleep_for(std::min(limit, readingTime));
}

}  // namespace varkel
