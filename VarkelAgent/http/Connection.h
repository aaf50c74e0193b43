#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>

#include "base/FileDescriptor.h"
#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "http/HTTPParser.h"
#include "http/UnauthenticatedConnections.h"

namespace varkel {

/// A connected program: its socket, and what was received from it and has not been answered.
struct Peer {
    FileDescriptor socket;
    HTTPParser parser;
    /// Complete; it came before what is in the parser.
    std::optional<HTTPRequest> request;
};

/// What a connection asks of the server behind it. Any I/O thread.
class RequestServer {
  public:
    virtual ~RequestServer() = default;

    /// The complete bytes of an answer that is the same every time, or an empty view. They outlive every
    /// connection.
    virtual std::string_view preparedAnswer(const HTTPRequest& request) const = 0;

    /// Whether a request with this head carries the credentials. Asked once for each request.
    virtual bool isAuthenticated(std::string_view head) const = 0;

    /// What is kept of the requests of a connection that has not authenticated.
    virtual RequestLimits unauthenticatedLimits() const = 0;

    /// What is kept of the requests of one that has; everything unless a server says otherwise.
    virtual RequestLimits authenticatedLimits() const { return {}; }

    /// Takes over a peer that has authenticated. Called on the thread of the unauthenticated connections.
    virtual void handOff(Peer peer) = 0;

    /// The answer to a request.
    virtual Task<HTTPResponse> dispatch(HTTPRequest request) = 0;
};

/// One accepted connection: a loop of request and response. Used on one I/O thread only. While it waits for a
/// request it owns a few KiB and no timer.
class Connection : private RequestClient {
  public:
    /// `scratch` is the thread's receive space, shared by its connections. With `unauthenticated` the
    /// connection is one of them until it has authenticated. Throws when the socket is of no use.
    Connection(boost::asio::io_context& context, Peer peer, RequestServer& server, std::span<char> scratch,
               UnauthenticatedConnections* unauthenticated);

    /// Serves until the peer finishes, an error occurs or a request asks for it, or until the connection has
    /// authenticated and the server has taken the peer over; throws on an invalid head. The connection must
    /// outlive the returned task.
    Task<void> serve();

    /// Makes serve() return soon.
    void close();

  private:
    /// Bytes on their way out; another object owns them.
    struct Outgoing {
        std::string_view head;
        std::string_view body;

        bool isDone() const { return head.empty() && body.empty(); }
        std::array<boost::asio::const_buffer, 2> buffers() const;
        void advance(std::size_t count);
    };

    bool hasGone() override;
    void makeRoom();
    std::string_view receiveNow();
    bool mustBeHandedOff() const { return slot_ && authenticated_; }
    bool mayHoldWhatItHas();
    std::optional<HTTPRequest> takeRequest();
    bool mustInviteBody();
    void handOff(std::optional<HTTPRequest> request);
    Task<void> answer(HTTPRequest request);
    void sendNow(Outgoing& outgoing);
    Task<void> sendRest(Outgoing outgoing);

    /// Held to close the socket, and to look at it on another thread.
    std::mutex closing_;
    boost::asio::ip::tcp::socket socket_;
    RequestServer& server_;
    std::span<char> scratch_;
    std::optional<UnauthenticatedConnections::Slot> slot_;
    HTTPParser parser_;
    std::optional<HTTPRequest> firstRequest_;
    /// Whether a request of this connection was authenticated.
    bool authenticated_ = false;
    boost::system::error_code sendError_;
    /// Holds any usual request, so that no more than one call is needed to receive it.
    std::array<char, 2'048> small_;
};

}  // namespace varkel
