#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace varkel {

/// One running instance of an application. Only the backend that made it looks inside.
class NSRunningApplication {
  public:
    NSRunningApplication() = default;
    NSRunningApplication(const NSRunningApplication&) = delete;
    NSRunningApplication& operator=(const NSRunningApplication&) = delete;
    virtual ~NSRunningApplication() = default;

    /// The instance's process, or nothing when the desktop does not tell.
    virtual std::optional<pid_t> processIdentifier() const = 0;
};

using RunningApplicationRef = std::shared_ptr<NSRunningApplication>;

/// How activateWithOptions() brings an application to the front.
enum class ActivationOptions : unsigned { none = 0, activateAllWindows = 1 };

struct NSWorkspaceOpenConfiguration {
    bool activates = false;
};

/// What a launch led to. `application` is null when no instance came up; `error` then says why.
struct LaunchOutcome {
    RunningApplicationRef application;
    std::string error;
};

/// What the agent asks of the desktop's application manager.
class Workspace {
  public:
    virtual ~Workspace() = default;

    /// The process of the application that receives key events now, or nothing. Asked anew on every call;
    /// returns within the backend's deadline. Any thread: a backend of a desktop that only the main thread
    /// may ask hands the question over to that thread itself.
    virtual std::optional<pid_t> frontmostApplication() = 0;

    /// What frontmostApplication() would answer, when the backend can tell without waiting for another
    /// process; otherwise nothing. Any thread.
    virtual std::optional<std::optional<pid_t>> frontmostApplicationIfKnown() { return std::nullopt; }
    /// The running instances of the application with this identifier, the most recently used first; nothing
    /// when the desktop did not tell. This and the operations below may be called from any thread, block, and
    /// return within the backend's deadlines.
    virtual std::optional<std::vector<RunningApplicationRef>> runningApplicationsWithBundleIdentifier(
        const std::string& identifier) = 0;

    /// Brings an instance to the front. False when the desktop did not do so in time.
    virtual bool activateWithOptions(const RunningApplicationRef& application, ActivationOptions options) = 0;

    /// Where the application with this identifier is installed, or nothing.
    virtual std::optional<std::string> URLForApplicationWithBundleIdentifier(
        const std::string& identifier) = 0;

    /// Launches the application found at `url`, and waits until it shows itself or the backend's patience
    /// ends.
    virtual LaunchOutcome openApplicationAtURL(const std::string& url,
                                               const NSWorkspaceOpenConfiguration& configuration) = 0;
};

}  // namespace varkel
