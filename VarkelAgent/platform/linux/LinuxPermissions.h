#pragma once

#include "platform/Permissions.h"
#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// Accessibility is granted when the accessibility bus answers, the screen when the window system hands out
/// pictures of it. No person is asked: a prompt turns the session's accessibility status on.
class LinuxPermissions : public Permissions {
  public:
    /// Both outlive this object.
    LinuxPermissions(AtspiBus& bus, WindowSystem& windows) : bus_(bus), windows_(windows) {}

    bool AXIsProcessTrustedWithOptions(TrustPrompt prompt) override;
    bool CGPreflightScreenCaptureAccess() override { return windows_.isScreenReadable(); }
    bool CGRequestScreenCaptureAccess() override { return CGPreflightScreenCaptureAccess(); }
    std::vector<std::string> describeSession() override { return windows_.describeSession(); }
    void openSettings(SettingsPane pane) override;

  private:
    AtspiBus& bus_;
    WindowSystem& windows_;
};

}  // namespace varkel
