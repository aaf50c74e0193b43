#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/Task.h"

namespace varkel {

/// A request to a service on this machine.
struct URLRequest {
    /// On 127.0.0.1.
    std::uint16_t port = 0;
    std::string method;
    /// The path, with a slash at its beginning.
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
};

/// Sends requests over HTTP/1.1, each on a connection of its own. A plain value.
struct URLSession {
    /// How long one exchange may take, from the connection to the reply's status.
    std::chrono::steady_clock::duration timeoutInterval = std::chrono::seconds(60);

    /// The session with the default limits.
    static URLSession shared() { return {}; }

    /// The status of the reply as soon as it has arrived, whatever follows it; nothing when the exchange
    /// fails, takes too long or what comes back is not HTTP. Redirections are not followed. Holds no thread
    /// while it waits. Does not throw. The session must outlive the task.
    Task<std::optional<unsigned>> status(URLRequest request) const;
};

}  // namespace varkel
