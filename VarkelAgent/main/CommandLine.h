#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/Environment.h"

namespace varkel {

/// The environment variable that may hold the token.
inline constexpr const char* tokenVariable = "QUELLAN_VARKEL_SIDECAR_TOKEN";

inline constexpr std::int64_t defaultPort = 47824;

/// Where the token comes from: it is given, or else it is in a file.
struct TokenSource {
    std::string token;
    std::string tokenFile;
};

/// What holds when the command line says nothing.
TokenSource defaultTokenSource(const Environment& environment);

/// What the command line asks for.
struct CommandLine : TokenSource {
    enum class Outcome {
        run,
        /// Asked for.
        usage,
        /// Cannot be read: the usage text, and a failure.
        usageError,
    };

    Outcome outcome = Outcome::run;
    std::int64_t port = defaultPort;
    std::optional<std::string> executablePath;
    bool prompt = true;
    std::optional<std::string> command;
};

/// Reads the arguments that follow the program's path, up to the first one that ends the program. A pure
/// function.
CommandLine parseCommandLine(std::span<const std::string> arguments, const TokenSource& defaults);

/// The usage text, ten lines each ended by a line feed.
std::string usageText(const TokenSource& defaults);

}  // namespace varkel
