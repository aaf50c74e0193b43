#pragma once

#include <chrono>

namespace varkel {

/// Whether the compositor gives images of the screen to programs by itself, as those of wlroots do. Blocks
/// within the deadline. Any thread.
bool isScreencopyOffered(std::chrono::steady_clock::time_point deadline);

}  // namespace varkel
