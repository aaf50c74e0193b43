#pragma once

#include <string>
#include <vector>

namespace varkel {

/// The parts of the desktop's settings where a person grants what the agent needs.
enum class SettingsPane { accessibility, screenRecording };

/// Whether AXIsProcessTrustedWithOptions() may ask the person.
enum class TrustPrompt { no, yes };

/// What the desktop's privacy settings allow this process. Any thread; every operation may block, no longer
/// than the backend's deadline. Accessibility::AXIsProcessTrusted() is the quiet form of the first one.
class Permissions {
  public:
    virtual ~Permissions() = default;

    /// Whether this process may use the accessibility interface. With a prompt, the desktop is asked for it
    /// when it may not.
    virtual bool AXIsProcessTrustedWithOptions(TrustPrompt prompt) = 0;

    /// Whether this process may read the screen. Never asks the person.
    virtual bool CGPreflightScreenCaptureAccess() = 0;

    /// Asks for the permission to read the screen; whether it is granted now.
    virtual bool CGRequestScreenCaptureAccess() = 0;

    /// What else the person should know of this session: what it allows programs, and how to get what is
    /// missing, a "name=value" line each. Empty where there is nothing to say.
    virtual std::vector<std::string> describeSession() { return {}; }

    /// Shows a pane of the desktop's settings. Does not wait for it; does nothing where there is none.
    virtual void openSettings(SettingsPane pane) = 0;
};

}  // namespace varkel
