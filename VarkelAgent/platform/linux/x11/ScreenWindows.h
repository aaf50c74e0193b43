#pragma once

#include <sys/types.h>

#include <vector>

#include "platform/linux/windows/ScreenWindow.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// The windows of a process: those that the window manager has, also minimised ones, and the menus, popovers
/// and tool tips that are on the screen. Empty when there is no X server or it does not answer within a
/// second. Three round trips, however many windows there are. Any thread.
std::vector<ScreenWindow> screenWindowsOf(X11Connection& screen, pid_t process);

}  // namespace varkel
