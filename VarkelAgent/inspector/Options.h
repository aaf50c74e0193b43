#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "main/ClientOptions.h"

namespace varkel::inspector {

/// What the command line asks for.
struct Options : ClientOptions {
    /// The page's; 0 takes any free one.
    std::uint16_t port = 0;
    bool opensBrowser = true;
};

/// Reads the arguments that follow the program's path; nothing when they cannot be read. A pure function.
std::optional<Options> parseOptions(std::span<const std::string> arguments, const TokenSource& defaults);

std::string usage(const TokenSource& defaults);

}  // namespace varkel::inspector
