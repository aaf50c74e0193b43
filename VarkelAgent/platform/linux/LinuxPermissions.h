#pragma once

#include "platform/Permissions.h"
#include "platform/linux/atspi/AtspiBus.h"

namespace varkel {

/// Accessibility is granted when the accessibility bus answers, the screen when the X server hands out a
/// pixel of it. No person is asked: a prompt turns the session's accessibility status on.
class LinuxPermissions : public Permissions {
  public:
    /// The bus outlives this object.
    explicit LinuxPermissions(AtspiBus& bus) : bus_(bus) {}

    bool AXIsProcessTrustedWithOptions(TrustPrompt prompt) override;
    bool CGPreflightScreenCaptureAccess() override;
    bool CGRequestScreenCaptureAccess() override { return CGPreflightScreenCaptureAccess(); }
    void openSettings(SettingsPane pane) override;

  private:
    AtspiBus& bus_;
};

}  // namespace varkel
