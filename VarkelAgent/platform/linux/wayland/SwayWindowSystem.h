#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/DeadlineMutex.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/wayland/SwayIPC.h"
#include "platform/linux/windows/WindowSystem.h"
#include "platform/linux/x11/X11WindowSystem.h"

namespace varkel {

/// The windows of a sway session, by its socket; of the X11 programs in it, where they are by their X server.
class SwayWindowSystem : public WindowSystem, public KeyFocusTeller {
  public:
    std::optional<pid_t> frontmostProcess(std::chrono::milliseconds limit) override;
    std::optional<pid_t> frontmostProcessIfKnown() override;
    std::optional<std::vector<ClientWindow>> clientWindows() override;
    bool isActive(WindowId window) override;
    bool activate(const std::vector<WindowId>& windows, std::chrono::milliseconds patience) override;
    ProcessWindows screenWindowsOf(pid_t process) override;
    void waitUntilEventsAreRead(std::chrono::milliseconds patience) override;
    bool isScreenReadable() override;
    std::vector<std::string> describeSession() override;
    std::vector<std::string> launchEnvironment() override;

    std::optional<KeyFocus> keyFocus(std::chrono::steady_clock::time_point deadline) override;

  private:
    using Clock = std::chrono::steady_clock;
    using Views = std::vector<SwayView>;

    std::optional<Views> views(Clock::time_point deadline);
    bool run(const std::string& command, Clock::time_point deadline);
    bool awaitActive(const std::vector<WindowId>& windows, Clock::time_point deadline);

    DeadlineMutex mutex_;
    // What follows is touched only under the lock.
    SwayWindowWatcher watcher_;
    SwayIPC commands_;
    std::optional<pid_t> meant_;
    Clock::time_point meantUntil_;

    X11WindowSystem xwayland_;
};

}  // namespace varkel
