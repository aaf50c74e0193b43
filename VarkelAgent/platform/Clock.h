#pragma once

namespace varkel {

/// The wall clock of the desktop. Any thread.
class Clock {
  public:
    virtual ~Clock() = default;

    /// Seconds since 1970-01-01 00:00:00 UTC, with sub-second precision. May jump when the clock is set.
    virtual double timeIntervalSince1970() = 0;
};

}  // namespace varkel
