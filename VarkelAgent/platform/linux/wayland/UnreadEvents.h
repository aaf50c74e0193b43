#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "base/FileDescriptor.h"

namespace varkel {

/// How much of what the compositor has sent to a process waits to be read by it. The compositor ends a
/// program whose socket is full, and some 250 keys fill it. One thread at a time; does not block.
class UnreadEvents {
  public:
    /// Looks among the process's sockets for its connection to the compositor that listens at `path`.
    UnreadEvents(pid_t process, const std::string& path);

    bool isConnected() const { return socket_.has_value(); }

    /// In bytes; nothing when the system does not tell, as of a process with a network of its own.
    std::optional<std::size_t> bytes() const;

  private:
    FileDescriptor netlink_;
    std::optional<std::uint32_t> socket_;
};

}  // namespace varkel
