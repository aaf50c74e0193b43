#pragma once

#include <cstdint>
#include <mutex>

namespace varkel {

/// Counts what was done to the desktop since start. Any thread.
class ChangeCounter {
  public:
    void increment() {
        const std::scoped_lock lock(mutex_);
        ++value_;
    }

    std::uint64_t value() const {
        const std::scoped_lock lock(mutex_);
        return value_;
    }

  private:
    mutable std::mutex mutex_;
    std::uint64_t value_ = 0;
};

/// The process's one counter.
ChangeCounter& globalChangeCounter();

/// Records that the desktop was changed and drops every cached tree. Called after each completed action. Any
/// thread.
void axBumpChangeCounter();

}  // namespace varkel
