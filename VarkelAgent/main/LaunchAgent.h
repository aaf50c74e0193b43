#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varkel {

/// What the service manager knows the agent by.
inline constexpr std::string_view launchAgentLabel = "io.github.varkel.varkel-agent";

/// How long `install` waits for the accessibility permission, and how often it looks.
inline constexpr std::chrono::seconds accessibilityPatience{300};
inline constexpr std::chrono::seconds accessibilityRecheck{2};

/// The program that starts at login: the one that was asked for, though it need not exist, else the one that
/// runs now, else the one in the user's own folder of programs.
std::string launchedExecutable(const std::optional<std::string>& asked,
                               const std::optional<std::string>& running, const std::string& home);

/// Makes the agent start at every login of the user whose home directory is `home`: waits for the
/// accessibility permission, writes the property list below the home directory, readable for its owner alone
/// since it holds the token, and has the service manager load it. Prints how that goes. `executable` is the
/// program to start.
///
/// Throws PermissionMissing when the permission does not come, std::system_error when the list cannot be
/// written, std::invalid_argument when it cannot hold the token or the path, and LaunchError when the service
/// manager's tool cannot be started. Blocks, also until that tool ends; any thread.
void installLaunchAgent(std::int64_t port, const std::string& token, const std::string& executable,
                        const std::string& home);

}  // namespace varkel
