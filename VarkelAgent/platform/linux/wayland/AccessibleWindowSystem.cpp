#include "platform/linux/wayland/AccessibleWindowSystem.h"

#include <algorithm>
#include <filesystem>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/linux/wayland/Portal.h"
#include "platform/linux/wayland/RemoteDesktop.h"
#include "platform/linux/wayland/SessionBus.h"
#include "platform/linux/wayland/ToplevelOwner.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds askLimit{1000};
/// An application that is busy for longer is taken to be in front still, unless another one says that it is.
constexpr milliseconds answerLimit{300};
constexpr milliseconds silence{2000};
constexpr milliseconds activePoll{10};
/// For how long keys that follow an activation are for the one that was asked to come to the front.
constexpr milliseconds keysFollow{2000};
/// How long an application gets to read its events: it answers nothing that could be asked.
constexpr milliseconds readingTime{250};
/// How long a window gets to come to the front once the keys for it were pressed.
constexpr milliseconds switchingTime{250};
/// More windows than are gone through with keys.
constexpr int maxSwitches = 20;

/// Never 0.
WindowId idOf(const AtspiReference& window) {
    return std::hash<std::string>{}(window.busName + window.path) | 1;
}

milliseconds left(std::chrono::steady_clock::time_point deadline) {
    const auto time = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    return std::max(time, milliseconds(0));
}

}  // namespace

std::optional<pid_t> AccessibleWindowSystem::frontmostProcess(milliseconds limit) {
    const auto focus = keyFocus(Clock::now() + limit);
    return focus ? focus->process : std::nullopt;
}

/// Called with the lock held.
bool AccessibleWindowSystem::isStillInFront(Clock::time_point deadline) {
    if (!front_) return false;
    if (Clock::now() < silentUntil_) return true;
    const auto active = isTopLevelActive(bus_, front_->window, std::min(left(deadline), answerLimit));
    if (active) return *active;
    const auto windows = findTopLevels(bus_, std::min(left(deadline), answerLimit));
    const bool lives = std::filesystem::exists("/proc/" + std::to_string(front_->process));
    if (!lives || activeAmong(windows) != nullptr) return false;
    silentUntil_ = Clock::now() + silence;
    return true;
}

std::optional<KeyFocus> AccessibleWindowSystem::keyFocus(Clock::time_point deadline) {
    const std::unique_lock lock(mutex_, deadline);
    if (!lock.owns_lock()) return std::nullopt;
    if (!isStillInFront(deadline)) {
        const auto windows = findTopLevels(bus_, left(deadline));
        const AccessibleTopLevel* active = activeAmong(windows);
        front_ = active == nullptr ? std::nullopt : std::optional(*active);
        silentUntil_ = {};
    }
    KeyFocus focus;
    if (front_) {
        focus.window = idOf(front_->window);
        focus.process = front_->process;
    }
    focus.activation = activationOf(meant_, meantUntil_, focus.process);
    return focus;
}

std::optional<std::vector<ClientWindow>> AccessibleWindowSystem::clientWindows() {
    if (!bus_.isReachable()) return std::nullopt;
    std::vector<AccessibleTopLevel> found = findTopLevels(bus_, askLimit);
    std::stable_partition(found.begin(), found.end(),
                          [](const AccessibleTopLevel& each) { return !each.active; });
    std::vector<ClientWindow> windows;
    for (const AccessibleTopLevel& each : found) {
        auto [program, script] = programNamesOf(each.process);
        windows.push_back({idOf(each.window), each.process, std::move(program), std::move(script), {}});
    }
    return windows;
}

bool AccessibleWindowSystem::isActive(WindowId window) {
    const auto focus = keyFocus(Clock::now() + askLimit);
    return focus && focus->window == window;
}

/// The desktop lets no program choose the window in front, so the keys that go through the windows are
/// pressed until it is there: each time the one comes that has been behind the longest.
bool AccessibleWindowSystem::activate(const std::vector<WindowId>& windows, milliseconds patience) {
    if (windows.empty()) return false;
    const auto deadline = Clock::now() + std::max(patience, milliseconds(maxSwitches * switchingTime));
    const auto all = findTopLevels(bus_, askLimit);
    const auto wanted = std::ranges::find(all, windows.back(),
                                          [](const AccessibleTopLevel& each) { return idOf(each.window); });
    if (wanted == all.end()) return false;
    {
        const std::unique_lock lock(mutex_, deadline);
        if (!lock.owns_lock()) return false;
        meant_ = wanted->process;
        meantUntil_ = deadline + keysFollow;
    }
    const int others = std::min(static_cast<int>(all.size()), maxSwitches);
    for (int step = 0; step <= others && Clock::now() < deadline; ++step) {
        if (step > 0 && switcher_) switcher_();
        const auto until = std::min(deadline, Clock::now() + (step == 0 ? milliseconds(0) : switchingTime));
        do {
            const auto active = isTopLevelActive(bus_, wanted->window, answerLimit);
            if (active.value_or(false)) return true;
            if (step > 0) std::this_thread::sleep_for(activePoll);
        } while (Clock::now() < until);
    }
    return false;
}

ProcessWindows AccessibleWindowSystem::screenWindowsOf(pid_t /*process*/) {
    return {{}, false};
}

bool AccessibleWindowSystem::isScreenReadable() {
    const Deadline deadline = Deadline::in(askLimit);
    SessionBus bus;
    return bus.connect(deadline) && Portal::versionOf(bus, "org.freedesktop.portal.Screenshot", deadline) > 0;
}

void AccessibleWindowSystem::waitUntilEventsAreRead(milliseconds patience) {
    std::this_thread::sleep_for(std::min(patience, readingTime));
}

std::vector<std::string> AccessibleWindowSystem::describeSession() {
    std::vector<std::string> lines{"session=GNOME (Wayland)",
                                   "hint_windows=GNOME tells no program where windows are: elements are "
                                   "worked by their own actions. Log in "
                                   "to \"GNOME on Xorg\" for clicks on all of them"};
    const std::string portal = describePortal();
    if (!portal.empty()) {
        lines.push_back(portal);
    } else if (!MutterRemoteDesktop().isOffered(Deadline::in(askLimit))) {
        lines.emplace_back(
            "hint_session=GNOME does not lend its keyboard now: see whether the session still runs");
    }
    if (!isScreenReadable())
        lines.emplace_back(
            "hint_images=Images of the screen come from the desktop's portal: install "
            "xdg-desktop-portal and xdg-desktop-portal-gnome, and log in anew");
    return lines;
}

}  // namespace varkel
