#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "main/CommandLine.h"

namespace varkel {

/// What the command line of a program that speaks to the agent asks for.
struct ClientOptions : TokenSource {
    std::uint16_t agentPort = defaultPort;
    bool help = false;
};

/// Takes one option and its value: `portOption` is the one with the agent's port. False when there is no such
/// option, or not such a value. A pure function, like all of these.
bool takeClientOption(ClientOptions& options, std::string_view portOption, std::string_view option,
                      const std::string& value);

/// Reads the arguments that follow the path of a program that has no others: --port, --token, --token-file
/// and --help. Nothing when they cannot be read.
std::optional<ClientOptions> parseClientOptions(std::span<const std::string> arguments,
                                                const TokenSource& defaults);

/// The lines of a usage text for these options, each ended by a line feed.
std::string clientOptionsUsage(std::string_view portOption, const TokenSource& defaults);

}  // namespace varkel
