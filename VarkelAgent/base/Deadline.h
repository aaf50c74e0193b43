#pragma once

#include <algorithm>
#include <chrono>

namespace varkel {

/// A moment on the steady clock by which something must be done. Setting the wall clock does not move it.
class Deadline {
  public:
    using Clock = std::chrono::steady_clock;
    using Duration = std::chrono::milliseconds;

    static Deadline in(Duration duration) { return Deadline(Clock::now() + duration); }

    bool passed() const { return Clock::now() >= at_; }

    /// What is left, never negative, rounded up so that a wait for it does not end too early.
    Duration left() const {
        return std::max(Duration::zero(), std::chrono::ceil<Duration>(at_ - Clock::now()));
    }

    friend Deadline earlier(Deadline a, Deadline b) { return Deadline(std::min(a.at_, b.at_)); }

  private:
    explicit Deadline(Clock::time_point at) : at_(at) {}

    Clock::time_point at_;
};

}  // namespace varkel
