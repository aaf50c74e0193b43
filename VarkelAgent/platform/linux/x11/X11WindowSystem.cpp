#include "platform/linux/x11/X11WindowSystem.h"

#include "platform/linux/x11/InputSync.h"
#include "platform/linux/x11/ScreenWindows.h"
#include "platform/linux/x11/WindowList.h"

namespace varkel {

std::optional<std::vector<ClientWindow>> X11WindowSystem::clientWindows() {
    X11Connection::Session session(connection_);
    return listClientWindows(session);
}

bool X11WindowSystem::isActive(WindowId window) {
    X11Connection::Session session(connection_);
    return varkel::isActive(session, static_cast<xcb_window_t>(window));
}

bool X11WindowSystem::activate(const std::vector<WindowId>& windows, std::chrono::milliseconds patience) {
    return activateWindows(connection_, {windows.begin(), windows.end()}, patience);
}

ProcessWindows X11WindowSystem::screenWindowsOf(pid_t process) {
    return {varkel::screenWindowsOf(places_, process), true};
}

void X11WindowSystem::waitUntilEventsAreRead(std::chrono::milliseconds patience) {
    X11Connection::Session session(connection_, patience * 2);
    if (session) varkel::waitUntilEventsAreRead(session, patience);
}

bool X11WindowSystem::isScreenReadable() {
    X11Connection::Session session(connection_);
    if (!session) return false;
    constexpr std::uint32_t allPlanes = 0xFFFFFFFF;
    const XcbPtr<xcb_get_image_reply_t> pixel(xcb_get_image_reply(
        session.get(),
        xcb_get_image(session.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, session.root(), 0, 0, 1, 1, allPlanes),
        nullptr));
    return pixel != nullptr;
}

}  // namespace varkel
