#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace varkel {

/// A token of the compositor's with which a program that is launched may bring its window to the front;
/// nothing when it gives none by then. Any thread.
std::optional<std::string> requestActivationToken(std::chrono::steady_clock::time_point deadline);

/// The variables, "NAME=value", that hand such a token to a program; none when there is none. Any thread.
std::vector<std::string> activationEnvironment(std::chrono::steady_clock::time_point deadline);

}  // namespace varkel
