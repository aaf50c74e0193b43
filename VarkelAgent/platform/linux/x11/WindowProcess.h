#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <optional>

#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// The process that a window belongs to, by the number that this process knows it by; nothing when the window
/// is gone, is drawn from another machine, or names no process. Two round trips at the most. Called with a
/// session of the connection.
///
/// The X server's word goes first: it sees who connected, also from a process namespace, where applications
/// put a number of their own into _NET_WM_PID. That property counts where the server cannot tell, knows
/// processes by other numbers than we do, or names a process that has ended and left its connection to a
/// child.
std::optional<pid_t> processOfWindow(X11Connection::Session& session, xcb_window_t window);

}  // namespace varkel
