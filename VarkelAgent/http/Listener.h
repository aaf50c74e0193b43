#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <functional>
#include <system_error>

#include "base/FileDescriptor.h"
#include "base/Task.h"

namespace varkel {

/// Accepts connections on the IPv4 loopback address. Used on its context's thread, but for listen().
class Listener {
  public:
    /// Throws std::system_error when there is no socket to be had.
    explicit Listener(boost::asio::io_context& context);

    /// Starts listening on 127.0.0.1; port 0 takes any free one. Before serve().
    std::error_code listen(std::uint16_t port);

    /// The port in use; 0 before listen().
    std::uint16_t port() const;

    /// Hands every accepted socket to `adopt` until close(). Lasting shortages, of file descriptors for one,
    /// only delay it.
    Task<void> serve(std::function<void(FileDescriptor)> adopt);

    void close();

  private:
    boost::asio::ip::tcp::acceptor acceptor_;
};

}  // namespace varkel
