#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace varkel {

/// A mutex that is waited for until a deadline; for std::unique_lock. std::timed_mutex does the same by a
/// call of the C library that the thread sanitizer of g++ 12 does not know: it takes everything that such a
/// mutex guards for unguarded.
class DeadlineMutex {
  public:
    bool try_lock() {
        const std::lock_guard lock(mutex_);
        if (taken_) return false;
        taken_ = true;
        return true;
    }

    bool try_lock_until(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock lock(mutex_);
        if (!free_.wait_until(lock, deadline, [this] { return !taken_; })) return false;
        taken_ = true;
        return true;
    }

    void unlock() {
        {
            const std::lock_guard lock(mutex_);
            taken_ = false;
        }
        free_.notify_one();
    }

  private:
    std::mutex mutex_;
    std::condition_variable free_;
    bool taken_ = false;
};

}  // namespace varkel
