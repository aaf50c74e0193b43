#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// One request to a server on 127.0.0.1, on a connection of its own: one that may change something must not
/// be sent a second time when a kept connection turns out to have ended. Used on its executor's thread only.
class HTTPClient {
  public:
    HTTPClient(boost::asio::any_io_executor executor, std::uint16_t port);
    HTTPClient(const HTTPClient&) = delete;
    HTTPClient& operator=(const HTTPClient&) = delete;
    ~HTTPClient();

    /// Sends the request, with a Host, a Connection and a Content-Length header beside its own, and gives the
    /// final answer, whose header names are in lower case. `limit` holds for the exchange as a whole, however
    /// slowly the answer trickles in. Throws boost::system::system_error, also when the answer has more than
    /// 64 MiB and after close(). Called once.
    Task<HTTPResponse> send(const HTTPRequest& request,
                            std::optional<std::chrono::steady_clock::duration> limit);

    /// Ends the exchange under way.
    void close();

  private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
    std::uint16_t port_;
};

/// Why send() has failed.
enum class ExchangeFailure { refused, timedOut, tooLong, other };
ExchangeFailure classify(const boost::system::error_code& error);

}  // namespace varkel
