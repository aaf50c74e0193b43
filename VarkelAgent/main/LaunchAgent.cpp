#include "main/LaunchAgent.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <filesystem>

#include "base/AtomicFile.h"
#include "main/Console.h"
#include "main/PermissionCheck.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"
#include "platform/PropertyList.h"

namespace varkel {

namespace {

/// The list holds the token.
constexpr mode_t ownerOnly = 0600;

void waitForAccessibility() {
    Platform& platform = Platform::current();
    if (platform.accessibility->AXIsProcessTrusted()) return;
    print("Accessibility permission is required for varkel-agent.\n");
    print("Opening System Settings → Privacy & Security → Accessibility…\n");
    openAccessibilitySettings();
    const auto deadline = platform.clock->now() + accessibilityPatience;
    do {
        if (platform.clock->now() >= deadline) throw PermissionMissing();
        platform.clock->sleep(accessibilityRecheck);
    } while (!platform.accessibility->AXIsProcessTrusted());
    print("Accessibility permission granted.\n");
}

boost::json::object describeAgent(std::int64_t port, const std::string& token,
                                  const std::string& executable) {
    return {
        {"Label", launchAgentLabel},
        {"ProgramArguments", {executable, "--port", std::to_string(port)}},
        {"RunAtLoad", true},
        {"KeepAlive", true},
        {"StandardOutPath", "/tmp/varkel-agent.log"},
        {"StandardErrorPath", "/tmp/varkel-agent.err"},
        {"EnvironmentVariables", {{"QUELLAN_VARKEL_SIDECAR_TOKEN", token}}},
    };
}

/// Runs the service manager's tool on the list; its output goes where this process's goes.
ChildResult launchctl(const char* verb, const std::string& list) {
    ChildCommand command;
    command.executable = Platform::current().toolPaths->launchctl();
    command.arguments = {verb, "-w", list};
    command.output = ChildCommand::Output::inherit;
    return runChild(std::move(command));
}

/// An earlier copy may be loaded, or not; neither matters.
void unload(const std::string& list) {
    try {
        launchctl("unload", list);
    } catch (const LaunchError&) {
        // The load that follows reports it.
    }
}

void load(const std::string& list) {
    const ChildResult result = launchctl("load", list);
    if (result.status == 0 && !result.signalled) {
        print("LaunchAgent loaded successfully.\n");
        return;
    }
    print("Warning: launchctl load returned " + std::to_string(result.status) + ".\n");
    print("You may need to enable the agent in System Settings -> Login Items.\n");
}

}  // namespace

std::string launchedExecutable(const std::optional<std::string>& asked,
                               const std::optional<std::string>& running, const std::string& home) {
    if (asked) return *asked;
    return running ? *running : home + "/.local/bin/varkel-agent";
}

void installLaunchAgent(std::int64_t port, const std::string& token, const std::string& executable,
                        const std::string& home) {
    waitForAccessibility();
    const std::string folder = home + "/Library/LaunchAgents";
    const std::string list = folder + "/" + std::string(launchAgentLabel) + ".plist";
    std::filesystem::create_directories(folder);
    writeFileAtomically(list, serializePropertyList(describeAgent(port, token, executable)), ownerOnly);
    print("Wrote plist to " + list + "\n");
    unload(list);
    load(list);
}

}  // namespace varkel
