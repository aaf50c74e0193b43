#pragma once

#include <functional>
#include <map>
#include <string>

namespace varkel {

/// Environment variables by name.
using Environment = std::map<std::string, std::string, std::less<>>;

/// The environment as it was at the first call, which main() makes before other threads exist.
const Environment& environment();

/// The path of the user's home directory with no trailing separator: $HOME when it is set and not empty,
/// otherwise what the user database says. Empty when neither knows it, and for "/".
std::string homeDirectory(const Environment& environment);

}  // namespace varkel
