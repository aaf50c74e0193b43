#pragma once

#include <system_error>
#include <thread>
#include <utility>

namespace varkel {

/// Starts a thread that runs `work`. False when the system has no thread to give, and then `thread` is as it
/// was.
template <class Work>
[[nodiscard]] bool startThread(std::thread& thread, Work work) {
    try {
        thread = std::thread(std::move(work));
        return true;
    } catch (const std::system_error&) {
        return false;
    }
}

}  // namespace varkel
