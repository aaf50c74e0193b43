#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace varkel {

/// The bundle identifiers that are treated as terminals.
inline constexpr std::array<std::string_view, 3> TERMINAL_BUNDLE_IDS{
    "com.googlecode.iterm2", "com.googlecode.iterm", "com.apple.Terminal"};

bool isTerminalBundleId(std::string_view bundleId);

/// The AppleScript that hands `text` to a terminal in one step, or nothing when the identifier is not that of
/// a terminal that can be scripted. Pure; any thread.
std::optional<std::string> appleScriptForTerminal(std::string_view bundleId, std::string_view text);

/// How a script ended. The outputs are valid UTF-8; one that was not is empty.
struct OsaResult {
    /// The tool's exit status, or -1 when it could not be started; standardError then says why.
    std::int32_t status = 0;
    std::string standardOutput;
    std::string standardError;
};

/// Runs AppleScript source with the system's scripting tool and waits for its end, without a time limit.
/// Blocks.
OsaResult runOsa(std::string script);

}  // namespace varkel
