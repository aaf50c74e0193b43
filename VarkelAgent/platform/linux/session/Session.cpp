#include "platform/linux/session/Session.h"

#include <chrono>
#include <optional>

#include "platform/linux/input/X11EventPoster.h"
#include "platform/linux/wayland/AccessibleWindowSystem.h"
#include "platform/linux/wayland/FakeInput.h"
#include "platform/linux/wayland/ForeignToplevels.h"
#include "platform/linux/wayland/KWinWindowSystem.h"
#include "platform/linux/wayland/RemoteDesktop.h"
#include "platform/linux/wayland/RemoteEventPoster.h"
#include "platform/linux/wayland/SwayIPC.h"
#include "platform/linux/wayland/SwayWindowSystem.h"
#include "platform/linux/wayland/ToplevelWindowSystem.h"
#include "platform/linux/wayland/WaylandConnection.h"
#include "platform/linux/wayland/WaylandEventPoster.h"
#include "platform/linux/wayland/WlrootsWindowSystem.h"
#include "platform/linux/x11/X11WindowSystem.h"

namespace varkel {

namespace {

/// What a compositor that does not answer may cost at the start.
constexpr std::chrono::milliseconds greetingLimit{2000};

template <class Windows>
Session withOwnDevices(std::unique_ptr<Windows> windows) {
    auto events = std::make_unique<WaylandEventPoster>(*windows);
    return Session{std::move(windows), std::move(events)};
}

/// A compositor that lends a keyboard and a pointer: sway, and others that are built on the same library.
std::optional<Session> openWlroots(AtspiBus& bus) {
    WaylandConnection connection;
    const auto deadline = std::chrono::steady_clock::now() + greetingLimit;
    if (!connection.connect(deadline) || !WaylandEventPoster::isOffered(connection)) return std::nullopt;
    if (SwayIPC::isNamed()) return withOwnDevices(std::make_unique<SwayWindowSystem>());
    if (ForeignToplevels::isOffered(connection))
        return withOwnDevices(std::make_unique<ToplevelWindowSystem>(bus));
    return withOwnDevices(std::make_unique<WlrootsWindowSystem>(bus));
}

/// A Wayland desktop that tells nothing of its windows, and lends devices by the session's bus: GNOME.
std::optional<Session> openRemoteDesktop(AtspiBus& bus) {
    WaylandConnection connection;
    if (!connection.connect(std::chrono::steady_clock::now() + greetingLimit)) return std::nullopt;
    std::vector<std::unique_ptr<InputDevices>> devices;
    devices.push_back(std::make_unique<PortalRemoteDesktop>());
    devices.push_back(std::make_unique<MutterRemoteDesktop>());
    if (!devices.back()->isOffered(Deadline::in(greetingLimit))) return std::nullopt;
    auto windows = std::make_unique<AccessibleWindowSystem>(bus);
    auto events = std::make_unique<RemoteEventPoster>(std::move(devices), makeMutterClipboard(), *windows);
    windows->setSwitcher([poster = events.get()] { poster->switchWindow(); });
    return Session{std::move(windows), std::move(events)};
}

std::optional<Session> openPlasma() {
    WaylandConnection connection;
    if (!connection.connect(std::chrono::steady_clock::now() + greetingLimit) ||
        !KWinWindowSystem::isThere(Deadline::in(greetingLimit)))
        return std::nullopt;
    auto windows = std::make_unique<KWinWindowSystem>();
    std::vector<std::unique_ptr<InputDevices>> devices;
    devices.push_back(std::make_unique<FakeInput>());
    devices.push_back(std::make_unique<PortalRemoteDesktop>());
    auto events =
        std::make_unique<RemoteEventPoster>(std::move(devices), makeDataControlClipboard(), *windows);
    return Session{std::move(windows), std::move(events)};
}

}  // namespace

Session openSession(AtspiBus& bus) {
    if (auto wlroots = openWlroots(bus)) return *std::move(wlroots);
    if (auto plasma = openPlasma()) return *std::move(plasma);
    if (auto desktop = openRemoteDesktop(bus)) return *std::move(desktop);
    return {std::make_unique<X11WindowSystem>(), std::make_unique<X11EventPoster>()};
}

}  // namespace varkel
