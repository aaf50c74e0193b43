#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/windows/ScreenWindow.h"

namespace varkel {

/// What a window system calls a window by. It may be given to another window once its own is gone.
using WindowId = std::uint64_t;

/// A window of an application, as the window system lists it.
struct ClientWindow {
    WindowId id = 0;
    std::optional<pid_t> process;
    /// The two names of an X11 window's class; of others, the names that stand for it.
    std::string instanceName;
    std::string className;
    /// The application's identifier by its own account, when it tells.
    std::string applicationId;
};

/// What the backend asks of that which shows windows: an X server with its window manager, or a Wayland
/// compositor. Any thread; every operation may block, within its deadline, unless it says otherwise.
class WindowSystem {
  public:
    WindowSystem() = default;
    WindowSystem(const WindowSystem&) = delete;
    WindowSystem& operator=(const WindowSystem&) = delete;
    virtual ~WindowSystem() = default;

    /// The process of the window that gets the keys; nothing when there is none, or the window system does
    /// not tell within `limit`.
    virtual std::optional<pid_t> frontmostProcess(std::chrono::milliseconds limit) = 0;

    /// What frontmostProcess() would answer, when that is known without waiting. Never blocks.
    virtual std::optional<pid_t> frontmostProcessIfKnown() = 0;

    /// The applications' windows, the topmost (or, where nothing is on top, the last used) last; nothing when
    /// the window system did not tell.
    virtual std::optional<std::vector<ClientWindow>> clientWindows() = 0;

    /// Whether this window is in front now.
    virtual bool isActive(WindowId window) = 0;

    /// Raises the windows (the topmost last) and makes the last one active. Waits until one of them is, no
    /// longer than `patience`; whether one is.
    virtual bool activate(const std::vector<WindowId>& windows, std::chrono::milliseconds patience) = 0;

    /// Where the windows of a process are, also minimised ones, and its menus, popovers and tool tips that
    /// are on the screen, as far as the window system knows of them. Empty when it does not answer in time.
    virtual ProcessWindows screenWindowsOf(pid_t process) = 0;

    /// Waits until the application in front has read the events that were posted to it, no longer than
    /// `patience`.
    virtual void waitUntilEventsAreRead(std::chrono::milliseconds patience) = 0;

    /// Whether pictures of the screen can be had.
    virtual bool isScreenReadable() = 0;

    /// What a person should know of this session, a "name=value" line each: what it is, and how to get what
    /// it does not allow. Empty where there is nothing to say.
    virtual std::vector<std::string> describeSession() { return {}; }

    /// Variables, "NAME=value", that an application is launched with so that it may come to the front. Empty
    /// where none are needed.
    virtual std::vector<std::string> launchEnvironment() { return {}; }
};

}  // namespace varkel
