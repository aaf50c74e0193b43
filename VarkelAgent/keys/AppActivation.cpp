#include "keys/AppActivation.h"

#include <utility>

#include "base/BlockingPool.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

/// What an application gets to take the focus before the first key arrives.
constexpr std::chrono::milliseconds activationPause{250};

enum class Found { running, launched, nowhere };

/// Blocks.
Found activateOrLaunch(const std::string& bundleId) {
    Workspace& workspace = *Platform::current().workspace;
    const auto running = workspace.runningApplicationsWithBundleIdentifier(bundleId);
    // It may run all the same: a second instance would get what is meant for the first.
    if (!running) return Found::nowhere;
    if (!running->empty()) {
        workspace.activateWithOptions(running->front(), ActivationOptions::activateAllWindows);
        return Found::running;
    }
    const auto url = workspace.URLForApplicationWithBundleIdentifier(bundleId);
    if (!url) return Found::nowhere;
    const auto launch = workspace.openApplicationAtURL(*url, NSWorkspaceOpenConfiguration{.activates = true});
    return launch.application ? Found::launched : Found::nowhere;
}

/// Blocks. The exit status of the scripting tool, or nothing when it cannot be started.
std::optional<int> activateByName(const std::string& appName) {
    ChildCommand command;
    command.executable = Platform::current().toolPaths->osascript();
    command.arguments = {"-e", "tell application \"" + appName + "\" to activate"};
    command.output = ChildCommand::Output::inherit;
    try {
        return runChild(std::move(command)).status;
    } catch (const LaunchError&) {
        return std::nullopt;
    }
}

}  // namespace

Task<ActivationOutcome> activateApp(std::optional<std::string> bundleId, std::optional<std::string> appName,
                                    Sleeper sleep) {
    if (bundleId && !bundleId->empty()) {
        const auto activate = [id = *bundleId] { return activateOrLaunch(id); };
        const Found found = co_await runBlocking(activate);
        if (found == Found::running) co_await sleep(activationPause);
        co_return ActivationOutcome{found != Found::nowhere, bundleId};
    }
    if (appName && !appName->empty()) {
        const auto activate = [name = *appName] { return activateByName(name); };
        const auto status = co_await runBlocking(activate, BlockingPool::forChildren());
        if (!status) co_return ActivationOutcome{};
        co_await sleep(activationPause);
        co_return ActivationOutcome{*status == 0, std::nullopt};
    }
    co_return ActivationOutcome{true, std::nullopt};
}

}  // namespace varkel
