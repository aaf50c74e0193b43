#pragma once

#include <boost/json/value.hpp>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/DeadlineMutex.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/wayland/SessionBus.h"
#include "platform/linux/windows/WindowSystem.h"
#include "platform/linux/x11/X11WindowSystem.h"

namespace varkel {

/// One window, as a script in Plasma's compositor tells of it.
struct KWinView {
    ClientWindow window;
    /// The compositor's name for it.
    std::string uuid;
    std::string title;
    /// What of it is seen, without the compositor's frame and the application's shadow.
    PixelRect area;
    bool active = false;
    bool xwayland = false;
};

/// The windows that a script has told of (JSON), the active one last. What is malformed is left out. Pure.
std::vector<KWinView> readKWinViews(std::string_view text);

/// The windows of a Plasma session. The compositor runs scripts that others hand it over the session's bus:
/// one for each question.
class KWinWindowSystem : public WindowSystem, public KeyFocusTeller {
  public:
    KWinWindowSystem();

    /// Whether Plasma's compositor is on the session's bus.
    static bool isThere(Deadline deadline);

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
    using Views = std::vector<KWinView>;

    std::optional<Views> views(Clock::time_point deadline);
    std::optional<std::string> run(const std::string& before, Deadline deadline);
    void unload(const std::string& name, Deadline deadline);

    DeadlineMutex mutex_;
    // What follows is touched only under the lock.
    SessionBus bus_;
    std::string token_;
    std::optional<std::string> told_;
    std::uint64_t scripts_ = 0;
    std::optional<pid_t> meant_;
    Clock::time_point meantUntil_;

    X11WindowSystem xwayland_;
};

}  // namespace varkel
