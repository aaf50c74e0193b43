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
#include "http/Strangers.h"

namespace varkel {

/// A connected program: its socket, and what was received from it and has not been answered.
struct Peer {
    FileDescriptor socket;
    ReceiveBuffer received;
    /// Complete; it came before what is in the buffer.
    std::optional<HTTPRequest> request;
};

/// What a connection asks of the server behind it. Any I/O thread.
class RequestServer {
  public:
    virtual ~RequestServer() = default;

    /// The complete bytes of an answer that is the same every time, or an empty view. They outlive every
    /// connection.
    virtual std::string_view preparedAnswer(const HTTPRequest& request) const = 0;

    /// Whether the body of a request with this head is worth sending.
    virtual bool wantsBody(const HTTPRequest& head) const = 0;

    /// Takes over a peer whose caller has shown the token. For the thread that serves the strangers.
    virtual void welcome(Peer peer) = 0;

    /// The answer to a request.
    virtual Task<HTTPResponse> dispatch(HTTPRequest request) = 0;
};

/// One accepted connection: a loop of request and response. Used on one I/O thread only. While it waits for a
/// request it owns a few KiB and no timer.
class Connection : private RequestClient {
  public:
    /// `scratch` is the thread's receive space, shared by its connections. With `strangers` the caller is one
    /// of them. Raises when the socket is of no use.
    Connection(boost::asio::io_context& context, Peer peer, RequestServer& server, std::span<char> scratch,
               Strangers* strangers);

    /// Serves until the peer finishes, an error occurs or a request asks for it, or until a stranger has
    /// shown the token and the server has taken the peer over; raises on an invalid head. The connection must
    /// outlive the returned task.
    Task<void> serve();

    /// Makes serve() return soon.
    void close();

  private:
    /// Bytes on their way out; they belong to someone else.
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
    bool isIntroduced() const;
    bool mayHoldWhatItHas();
    std::optional<HTTPRequest> takeRequest();
    bool mustInviteBody();
    void passOn(std::optional<HTTPRequest> request);
    Task<void> answer(HTTPRequest request);
    void sendNow(Outgoing& outgoing);
    Task<void> sendRest(Outgoing outgoing);

    /// Held to close the socket, and to look at it on another thread.
    std::mutex closing_;
    boost::asio::ip::tcp::socket socket_;
    RequestServer& server_;
    std::span<char> scratch_;
    std::optional<Strangers::Place> stranger_;
    ReceiveBuffer buffer_;
    std::optional<HTTPRequest> firstRequest_;
    boost::system::error_code sendError_;
    /// Holds any usual request, so that no more than one call is needed to receive it.
    std::array<char, 2'048> small_;
};

}  // namespace varkel
