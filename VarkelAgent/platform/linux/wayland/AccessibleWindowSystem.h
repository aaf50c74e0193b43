#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/DeadlineMutex.h"
#include "platform/linux/atspi/ActiveApplication.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// The windows of a Wayland desktop that tells nothing of them, such as GNOME's: what the accessibility bus
/// knows. Where they are, nothing tells.
class AccessibleWindowSystem : public WindowSystem, public KeyFocusTeller {
  public:
    /// Brings the window to the front that has been behind the longest, by keys.
    using Switcher = std::function<void()>;

    /// `bus` outlives this object.
    explicit AccessibleWindowSystem(AtspiBus& bus) : bus_(bus) {}

    /// Before other threads use this object.
    void setSwitcher(Switcher switcher) { switcher_ = std::move(switcher); }

    std::optional<pid_t> frontmostProcess(std::chrono::milliseconds limit) override;
    std::optional<pid_t> frontmostProcessIfKnown() override { return std::nullopt; }
    std::optional<std::vector<ClientWindow>> clientWindows() override;
    bool isActive(WindowId window) override;
    bool activate(const std::vector<WindowId>& windows, std::chrono::milliseconds patience) override;
    ProcessWindows screenWindowsOf(pid_t process) override;
    void waitUntilEventsAreRead(std::chrono::milliseconds patience) override;
    bool isScreenReadable() override;
    std::vector<std::string> describeSession() override;

    std::optional<KeyFocus> keyFocus(std::chrono::steady_clock::time_point deadline) override;

  private:
    using Clock = std::chrono::steady_clock;

    bool isStillInFront(Clock::time_point deadline);

    AtspiBus& bus_;
    Switcher switcher_;
    DeadlineMutex mutex_;
    // What follows is touched only under the lock.
    std::optional<AccessibleTopLevel> front_;
    /// Until when an application that did not answer is not asked again.
    Clock::time_point silentUntil_;
    std::optional<pid_t> meant_;
    Clock::time_point meantUntil_;
};

}  // namespace varkel
