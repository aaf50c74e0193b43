#include "platform/Platform.h"
#include "platform/linux/AppManager.h"
#include "platform/linux/X11EventPoster.h"
#include "platform/posix/SystemToolPaths.h"

namespace varkel {

namespace {

// A desktop without applications, until the accessibility backend is in place.
class NoAccessibility : public Accessibility {
  public:
    bool AXIsProcessTrusted() override { return false; }

    AXUIElementRef AXUIElementCreateApplication(pid_t) override { return std::make_shared<AXUIElement>(); }

    AXResult<AXValue> AXUIElementCopyAttributeValue(const AXUIElementRef&, AXAttribute) override {
        return AXResult<AXValue>::failed(AXError::cannotComplete);
    }

    AXResult<std::vector<AXUIElementRef>> AXUIElementCopyAttributeValues(const AXUIElementRef&, AXAttribute,
                                                                         std::size_t, std::size_t) override {
        return AXResult<std::vector<AXUIElementRef>>::failed(AXError::cannotComplete);
    }

    AXResult<pid_t> AXUIElementGetPid(const AXUIElementRef&) override {
        return AXResult<pid_t>::failed(AXError::cannotComplete);
    }

    bool CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) override { return a == b; }
};

class NoWorkspace : public Workspace {
  public:
    ThreadRule threadRule() const override { return ThreadRule::any; }
    std::optional<pid_t> frontmostApplication() override { return std::nullopt; }

    std::vector<RunningApplicationRef> runningApplicationsWithBundleIdentifier(
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
    AppManager applications_;
};

}  // namespace

Platform makeSystemPlatform() {
    return {std::make_unique<NoAccessibility>(), std::make_unique<NoWorkspace>(),
            std::make_unique<X11EventPoster>(), std::make_unique<SystemToolPaths>(executableDirectory())};
}

}  // namespace varkel
