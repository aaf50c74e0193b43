#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// A window of an application, as the window manager lists it.
struct ClientWindow {
    xcb_window_t id = XCB_WINDOW_NONE;
    std::optional<pid_t> process;
    /// The two names of WM_CLASS.
    std::string instanceName;
    std::string className;
    /// The application's identifier by its own account, when its toolkit tells.
    std::string applicationId;
};

/// The applications' windows, the topmost last; nothing when the server did not answer to the end.
std::optional<std::vector<ClientWindow>> listClientWindows(X11Connection::Session& session);

/// Whether the window is the active one, or has the keyboard focus where there is no window manager to tell.
bool isActive(X11Connection::Session& session, xcb_window_t window);

/// Raises the windows (the topmost last) and makes the last one active, as the window manager's protocol has
/// it, with a fresh timestamp. Waits until one of them is active and has the keyboard focus, no longer than
/// `patience`; whether one is active. The connection is free for others while it waits.
bool activateWindows(X11Connection& connection, const std::vector<xcb_window_t>& windows,
                     std::chrono::milliseconds patience);

}  // namespace varkel
