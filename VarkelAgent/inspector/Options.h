#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "main/CommandLine.h"

namespace varkel::inspector {

/// What the command line asks for.
struct Options {
    bool help = false;
    /// 0 takes any free one.
    std::uint16_t port = 0;
    std::uint16_t agentPort = defaultPort;
    bool opensBrowser = true;
    std::string token;
    std::string tokenFile;
};

/// Reads the arguments that follow the program's path; nothing when they cannot be read. A pure function.
std::optional<Options> parseOptions(std::span<const std::string> arguments, const Defaults& defaults);

std::string usage(const Defaults& defaults);

}  // namespace varkel::inspector
