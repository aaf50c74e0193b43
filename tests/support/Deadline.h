#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace varkel::test {

/// Long enough for the slowest machine under a sanitizer; only a failing test waits for so long.
inline constexpr std::chrono::seconds patience(20);

/// Looks at `condition` until it holds; false when it does not within the deadline.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace varkel::test
