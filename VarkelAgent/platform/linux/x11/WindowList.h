#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <optional>
#include <vector>

#include "platform/linux/windows/WindowSystem.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

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
