#pragma once

#include <sys/types.h>

#include <optional>

#include "platform/linux/wayland/UnreadEvents.h"

namespace varkel {

/// Keeps keys from being sent faster than an application reads them: its compositor ends one whose socket is
/// full. One thread at a time.
class ReadingPace {
  public:
    /// To be called before each press, with the process that gets it. Waits, five seconds at the most, and
    /// throws an EventError when the process does not read then.
    void await(std::optional<pid_t> process);

  private:
    std::optional<UnreadEvents> unread_;
    std::optional<pid_t> unreadOf_;
    unsigned pressesUntilLook_ = 0;
};

}  // namespace varkel
