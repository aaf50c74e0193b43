#pragma once

#include <sys/types.h>

#include <optional>

namespace varkel {

/// The thread that a backend's Workspace may be called from.
enum class ThreadRule { any, mainOnly };

/// What the agent asks of the desktop's application manager.
class Workspace {
  public:
    virtual ~Workspace() = default;

    /// From which thread frontmostApplication() may be called. Constant for the life of the backend.
    virtual ThreadRule threadRule() const = 0;

    /// The process of the application that receives key events now, or nothing. Asked anew on every call;
    /// returns within the backend's deadline.
    virtual std::optional<pid_t> frontmostApplication() = 0;

    /// What frontmostApplication() would answer, when the backend can tell without waiting for another
    /// process; otherwise nothing. Any thread.
    virtual std::optional<std::optional<pid_t>> frontmostApplicationIfKnown() { return std::nullopt; }
};

}  // namespace varkel
