#include "platform/linux/wayland/ToplevelWindowSystem.h"

#include <foreign-toplevel-v1-client.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

#include "base/Environment.h"
#include "platform/linux/atspi/ActiveApplication.h"
#include "platform/linux/wayland/ActivationToken.h"
#include "platform/linux/wayland/Screencopy.h"
#include "platform/linux/wayland/ToplevelOwner.h"
#include "platform/linux/wayland/UnreadEvents.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

/// What a compositor or applications that do not answer may cost.
constexpr milliseconds askLimit{1000};
/// How often it is asked whose a window is that is not on the accessibility bus.
constexpr milliseconds unknownPause{500};
/// For how long keys that follow an activation are for the one that was asked to come to the front.
constexpr milliseconds keysFollow{2000};
/// How long an application gets to read its events: it answers nothing that could be asked.
constexpr milliseconds readingTime{250};

std::vector<OwnedWindow> ownedWindows(AtspiBus& bus, WaylandConnection::Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - WaylandConnection::Clock::now());
    std::vector<OwnedWindow> windows;
    for (AccessibleTopLevel& each : findTopLevels(bus, std::clamp(left, milliseconds(0), askLimit)))
        windows.push_back({each.process, programNamesOf(each.process), std::move(each.title), each.active});
    return windows;
}

/// Whether a process shows its windows by the X server of a Wayland session.
bool isX11Program(pid_t process) {
    return environment().contains("DISPLAY") &&
           !UnreadEvents(process, WaylandConnection::socketPath()).isConnected();
}

}  // namespace

/// Called with the lock held, as all that follows here: takes in all that the compositor has told. False when
/// it does not answer.
bool ToplevelWindowSystem::update(Clock::time_point deadline) {
    if (connection_.isConnected() && connection_.synchronise(deadline)) return true;
    disconnect();
    if (!connection_.connect(deadline)) return false;
    seat_ = connection_.bind<wl_seat>(wl_seat_interface, 1);
    if (toplevels_.open(connection_, deadline)) return true;
    disconnect();
    return false;
}

void ToplevelWindowSystem::disconnect() {
    front_ = {};
    toplevels_.clear();
    if (seat_ != nullptr) wl_seat_destroy(std::exchange(seat_, nullptr));
    connection_.disconnect();
}

const ToplevelWindowSystem::Front& ToplevelWindowSystem::front(Clock::time_point deadline) {
    const ForeignToplevels::Toplevel* activated = toplevels_.activated();
    if (activated == nullptr) return front_ = {};
    if (front_.window == activated->id && (front_.process || Clock::now() < front_.askAgain)) return front_;
    front_ = {activated->id, {}, false, Clock::now() + unknownPause};
    front_.process = ownerOf(activated->title, activated->applicationId, true, ownedWindows(bus_, deadline));
    front_.xwayland = front_.process && isX11Program(*front_.process);
    return front_;
}

std::optional<pid_t> ToplevelWindowSystem::frontmostProcess(milliseconds limit) {
    const auto focus = keyFocus(Clock::now() + limit);
    return focus ? focus->process : std::nullopt;
}

std::optional<pid_t> ToplevelWindowSystem::frontmostProcessIfKnown() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock() || !connection_.isConnected()) return std::nullopt;
    connection_.takeEvents();
    const ForeignToplevels::Toplevel* activated = toplevels_.activated();
    return activated != nullptr && activated->id == front_.window ? front_.process : std::nullopt;
}

std::optional<KeyFocus> ToplevelWindowSystem::keyFocus(Clock::time_point deadline) {
    const std::unique_lock lock(mutex_, deadline);
    if (!lock.owns_lock() || !update(deadline)) return std::nullopt;
    const Front& now = front(deadline);
    KeyFocus focus;
    focus.window = now.window;
    focus.process = now.process;
    focus.xwayland = now.xwayland;
    if (meant_ == 0 || Clock::now() >= meantUntil_) return focus;
    const bool isThere = now.window == meant_ || (now.process && now.process == meantProcess_);
    focus.activation = isThere ? Activation::done : Activation::awaited;
    return focus;
}

std::optional<std::vector<ClientWindow>> ToplevelWindowSystem::clientWindows() {
    const auto deadline = Clock::now() + askLimit;
    const std::unique_lock lock(mutex_, deadline);
    if (!lock.owns_lock() || !update(deadline)) return std::nullopt;
    const std::vector<OwnedWindow> owned = ownedWindows(bus_, deadline);
    std::vector<ClientWindow> windows;
    for (const ForeignToplevels::Toplevel& each : toplevels_.all()) {
        const auto process = ownerOf(each.title, each.applicationId, each.activated, owned);
        const std::string& name = each.applicationId;
        windows.push_back({each.id, process, name, name, name});
    }
    return windows;
}

bool ToplevelWindowSystem::isActive(WindowId window) {
    const auto focus = keyFocus(Clock::now() + askLimit);
    return focus && focus->window == window;
}

/// Only the last window is shown: each of the others would take the keyboard.
bool ToplevelWindowSystem::activate(const std::vector<WindowId>& windows, milliseconds patience) {
    if (windows.empty()) return false;
    const auto deadline = Clock::now() + patience;
    const std::unique_lock lock(mutex_, deadline);
    if (!lock.owns_lock() || !update(deadline) || seat_ == nullptr) return false;
    const ForeignToplevels::Toplevel* wanted = toplevels_.find(windows.back());
    if (wanted == nullptr) return false;
    meantProcess_ =
        ownerOf(wanted->title, wanted->applicationId, wanted->activated, ownedWindows(bus_, deadline));
    meant_ = wanted->id;
    meantUntil_ = deadline + keysFollow;
    zwlr_foreign_toplevel_handle_v1_activate(wanted->handle, seat_);
    const auto isThere = [&] {
        const ForeignToplevels::Toplevel* activated = toplevels_.activated();
        return activated != nullptr && std::ranges::find(windows, activated->id) != windows.end();
    };
    return connection_.synchronise(deadline) && connection_.dispatchUntil(isThere, deadline);
}

ProcessWindows ToplevelWindowSystem::screenWindowsOf(pid_t process) {
    if (!isX11Program(process)) return {{}, false};
    ProcessWindows found = xwayland_.screenWindowsOf(process);
    // A program whose connections are not seen may be one for Wayland.
    if (found.windows.empty()) found.knowTheirPlace = false;
    return found;
}

bool ToplevelWindowSystem::isScreenReadable() {
    return isScreencopyOffered(Clock::now() + askLimit);
}

void ToplevelWindowSystem::waitUntilEventsAreRead(milliseconds patience) {
    std::this_thread::sleep_for(std::min(patience, readingTime));
}

std::vector<std::string> ToplevelWindowSystem::launchEnvironment() {
    return activationEnvironment(Clock::now() + askLimit);
}

std::vector<std::string> ToplevelWindowSystem::describeSession() {
    return {
        "session=Wayland",
        "hint_windows=This compositor tells no program where its windows are: elements are worked by their "
        "own actions. In a session of sway, start the agent from within it, so that SWAYSOCK names sway's "
        "socket"};
}

}  // namespace varkel
