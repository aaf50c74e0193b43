#pragma once

#include <chrono>
#include <thread>

namespace varkel {

/// The clocks of the desktop. Any thread.
class Clock {
  public:
    virtual ~Clock() = default;

    /// Seconds since 1970-01-01 00:00:00 UTC, with sub-second precision. May jump when the clock is set.
    virtual double timeIntervalSince1970() = 0;

    /// A moment on a clock that is never set, for deadlines.
    virtual std::chrono::steady_clock::time_point now() { return std::chrono::steady_clock::now(); }

    /// Blocks the calling thread, by the same clock.
    virtual void sleep(std::chrono::seconds duration) { std::this_thread::sleep_for(duration); }
};

}  // namespace varkel
