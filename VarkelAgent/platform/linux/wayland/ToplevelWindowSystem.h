#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/DeadlineMutex.h"
#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/wayland/ForeignToplevels.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/wayland/WaylandConnection.h"
#include "platform/linux/windows/WindowSystem.h"
#include "platform/linux/x11/X11WindowSystem.h"

struct wl_seat;

namespace varkel {

/// The windows of a compositor that lists them for task bars. The accessibility bus tells their processes;
/// where they are nothing tells, but of X11 programs their X server.
class ToplevelWindowSystem : public WindowSystem, public KeyFocusTeller {
  public:
    /// `bus` outlives this object.
    explicit ToplevelWindowSystem(AtspiBus& bus) : bus_(bus) {}
    ~ToplevelWindowSystem() override { disconnect(); }

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

    /// Whose the window in front is.
    struct Front {
        WindowId window = 0;
        std::optional<pid_t> process;
        bool xwayland = false;
        /// When it is looked for again, as long as it was not found.
        Clock::time_point askAgain;
    };

    bool update(Clock::time_point deadline);
    void disconnect();
    const Front& front(Clock::time_point deadline);

    AtspiBus& bus_;
    DeadlineMutex mutex_;
    // What follows is touched only under the lock.
    WaylandConnection connection_;
    ForeignToplevels toplevels_;
    wl_seat* seat_ = nullptr;
    Front front_;
    std::optional<pid_t> meantProcess_;
    WindowId meant_ = 0;
    Clock::time_point meantUntil_;

    X11WindowSystem xwayland_;
};

}  // namespace varkel
