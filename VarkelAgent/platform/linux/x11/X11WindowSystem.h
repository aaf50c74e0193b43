#pragma once

#include "platform/linux/windows/WindowSystem.h"
#include "platform/linux/x11/FrontmostWatcher.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// The X server that DISPLAY names, with its window manager. Connects on first use.
class X11WindowSystem : public WindowSystem {
  public:
    std::optional<pid_t> frontmostProcess(std::chrono::milliseconds limit) override {
        return watcher_.ask(limit);
    }
    std::optional<pid_t> frontmostProcessIfKnown() override { return watcher_.peek(); }
    std::optional<std::vector<ClientWindow>> clientWindows() override;
    bool isActive(WindowId window) override;
    bool activate(const std::vector<WindowId>& windows, std::chrono::milliseconds patience) override;
    ProcessWindows screenWindowsOf(pid_t process) override;
    void waitUntilEventsAreRead(std::chrono::milliseconds patience) override;
    bool isScreenReadable() override;

  private:
    FrontmostWatcher watcher_;
    /// For the places of windows, so that an activation under way does not keep them waiting.
    X11Connection places_;
    X11Connection connection_;
};

}  // namespace varkel
