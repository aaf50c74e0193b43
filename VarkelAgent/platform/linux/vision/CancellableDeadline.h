#pragma once

#include <exception>
#include <stop_token>

#include "base/Deadline.h"

namespace varkel {

/// How long the reading of an image may go on. Some of what finds lines looks at pairs of shapes, and there
/// are images with a million of them. Any thread.
class CancellableDeadline {
  public:
    struct Passed final : std::exception {
        const char* what() const noexcept override { return "the image takes too long"; }
    };

    CancellableDeadline(Deadline::Duration time, const std::stop_token& cancelled)
        : deadline_(Deadline::in(time)), cancelled_(cancelled) {}

    bool passed() const { return cancelled_.stop_requested() || deadline_.passed(); }

    /// What is left of the time, whether it was cancelled or not.
    Deadline::Duration left() const { return deadline_.left(); }

    /// Throws Passed when it has.
    void check() const {
        if (passed()) throw Passed();
    }

  private:
    Deadline deadline_;
    std::stop_token cancelled_;
};

}  // namespace varkel
