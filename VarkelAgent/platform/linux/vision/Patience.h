#pragma once

#include <chrono>
#include <exception>
#include <stop_token>

namespace varkel {

/// How long the reading of a picture may go on. Some of what finds lines looks at pairs of shapes, and there
/// are pictures with a million of them. Any thread.
class Patience {
  public:
    struct Over final : std::exception {
        const char* what() const noexcept override { return "the picture takes too long"; }
    };

    Patience(std::chrono::steady_clock::duration time, const std::stop_token& cancelled)
        : end_(std::chrono::steady_clock::now() + time), cancelled_(cancelled) {}

    std::chrono::steady_clock::time_point end() const { return end_; }
    bool isOver() const { return cancelled_.stop_requested() || std::chrono::steady_clock::now() >= end_; }

    /// Throws Over when it is.
    void check() const {
        if (isOver()) throw Over();
    }

  private:
    std::chrono::steady_clock::time_point end_;
    std::stop_token cancelled_;
};

}  // namespace varkel
