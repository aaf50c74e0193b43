#pragma once

#include "platform/Workspace.h"
#include "platform/linux/apps/AppManager.h"
#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// The window system's view of the desktop, with the accessibility bus where it does not tell who is in
/// front.
class LinuxWorkspace : public Workspace {
  public:
    /// Both outlive this object.
    LinuxWorkspace(AtspiBus& bus, WindowSystem& windows)
        : bus_(bus), windows_(windows), applications_(windows) {}

    std::optional<pid_t> frontmostApplication() override;
    std::optional<std::optional<pid_t>> frontmostApplicationIfKnown() override;
    std::optional<std::vector<RunningApplicationRef>> runningApplicationsWithBundleIdentifier(
        const std::string& identifier) override {
        return applications_.runningApplicationsWithBundleIdentifier(identifier);
    }
    bool activateWithOptions(const RunningApplicationRef& application, ActivationOptions options) override {
        return applications_.activateWithOptions(application, options);
    }
    std::optional<std::string> URLForApplicationWithBundleIdentifier(const std::string& identifier) override {
        return applications_.URLForApplicationWithBundleIdentifier(identifier);
    }
    LaunchOutcome openApplicationAtURL(const std::string& url,
                                       const NSWorkspaceOpenConfiguration& configuration) override {
        return applications_.openApplicationAtURL(url, configuration);
    }

  private:
    AtspiBus& bus_;
    WindowSystem& windows_;
    AppManager applications_;
};

}  // namespace varkel
