#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace varkel {

/// A token of the compositor's with which a program that is launched may bring its window to the front;
/// nothing when it gives none by then. Any thread.
std::optional<std::string> requestActivationToken(std::chrono::steady_clock::time_point deadline);

}  // namespace varkel
