#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/Task.h"

namespace varkel::test {

/// How the overlay service answers one request.
struct OverlayReply {
    enum class Then { close, hang, trickle };

    std::string bytes;
    Then then = Then::close;
    /// The reply is held back until this holds.
    std::function<bool()> when = {};
};

/// An HTTP/1.1 reply with an empty body.
OverlayReply statusReply(int status, std::function<bool()> when = {});

/// An overlay service on a loopback port of its own that answers as it is told and keeps what it was sent.
class ScriptedOverlay {
  public:
    /// A request as it came over the wire.
    struct Received {
        std::string head;
        std::string body;
    };

    /// `poll` is asked with the number of the poll, from 1 on, on the service's own thread.
    explicit ScriptedOverlay(std::function<OverlayReply(int number)> poll,
                             OverlayReply event = statusReply(200));
    ~ScriptedOverlay();

    std::uint16_t port() const { return port_; }
    std::vector<Received> events();
    std::vector<Received> polls();

    /// Ends the service: nothing listens on its port from then on.
    void stop();

  private:
    Task<void> accept();
    Task<void> serve(boost::asio::ip::tcp::socket socket);

    const std::function<OverlayReply(int number)> poll_;
    const OverlayReply event_;
    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_;
    std::uint16_t port_;
    std::mutex mutex_;
    std::vector<Received> events_;
    std::vector<Received> polls_;
    std::thread thread_;
};

}  // namespace varkel::test
