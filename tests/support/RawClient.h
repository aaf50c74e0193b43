#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/FileDescriptor.h"

namespace varkel::test {

/// A response as it came over the wire.
struct RawResponse {
    std::string statusLine;
    std::map<std::string, std::string> headers;
    std::string body;

    int status() const { return std::stoi(statusLine.substr(9)); }
};

/// A client socket on the loopback address, whose every wait has a deadline. What goes wrong is an exception.
class RawClient {
  public:
    explicit RawClient(std::uint16_t port);

    void send(std::string_view bytes);

    /// Says that nothing more will be sent.
    void finishSending();

    /// The next response, read by its Content-Length; nothing when the server closes before one starts.
    std::optional<RawResponse> receive();

    /// Waits until the server closes; what came before that is returned.
    std::string receiveRest();

    /// Whether nothing arrives and the connection stays open for a moment.
    bool isQuiet();

    RawResponse request(std::string_view bytes);

  private:
    bool fill();

    FileDescriptor socket_;
    std::string received_;
};

}  // namespace varkel::test
