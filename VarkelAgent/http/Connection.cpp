#include "http/Connection.h"

#include <sys/socket.h>

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <utility>

#include "base/UnicodeText.h"
#include "http/HTTPSerializer.h"

namespace varkel {

namespace asio = boost::asio;

namespace {

// How often a connection that always has more to read does so before the thread's other connections get
// their turn: about a megabyte. Unauthenticated connections have smaller turns.
constexpr int maxReadsInTurn = 16;
constexpr int maxReadsUnauthenticated = 1;

// How many of the requests that one read has brought are answered before that.
constexpr int maxAnswersInTurn = 64;
constexpr int maxAnswersUnauthenticated = 8;

bool asksForClose(const HTTPRequest& request) {
    const std::string* connection = request.header("connection");
    return connection != nullptr && equalsIgnoringCase(*connection, "close");
}

}  // namespace

std::array<asio::const_buffer, 2> Connection::Outgoing::buffers() const {
    return {asio::buffer(head), asio::buffer(body)};
}

void Connection::Outgoing::advance(std::size_t count) {
    const std::size_t ofHead = std::min(count, head.size());
    head.remove_prefix(ofHead);
    body.remove_prefix(count - ofHead);
}

Connection::Connection(asio::io_context& context, Peer peer, RequestServer& server, std::span<char> scratch,
                       UnauthenticatedConnections* unauthenticated)
    : socket_(context),
      server_(server),
      scratch_(scratch),
      parser_(std::move(peer.parser)),
      firstRequest_(std::move(peer.request)) {
    socket_.assign(asio::ip::tcp::v4(), peer.socket.get());
    peer.socket.release();
    socket_.non_blocking(true);
    socket_.set_option(asio::ip::tcp::no_delay(true));
    if (unauthenticated != nullptr) slot_.emplace(*unauthenticated, [this] { makeRoom(); });
}

void Connection::close() {
    boost::system::error_code ignored;
    const std::scoped_lock lock(closing_);
    socket_.close(ignored);
}

/// Ends an unauthenticated connection. Its task may have to wait for its turn behind others, which need the
/// memory now.
void Connection::makeRoom() {
    close();
    parser_.clear();
}

bool Connection::hasGone() {
    const std::scoped_lock lock(closing_);
    char next = 0;
    const ssize_t count = ::recv(socket_.native_handle(), &next, 1, MSG_PEEK | MSG_DONTWAIT);
    if (count < 0) return errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR;
    return count == 0;
}

Task<void> Connection::serve() {
    const int maxReads = slot_ ? maxReadsUnauthenticated : maxReadsInTurn;
    const int maxAnswers = slot_ ? maxAnswersUnauthenticated : maxAnswersInTurn;
    int reads = 0;
    int answers = 0;
    bool mayHaveMore = false;
    while (true) {
        while (auto request = takeRequest()) {
            if (mustBeHandedOff()) {
                handOff(std::move(request));
                co_return;
            }
            const bool isLast = asksForClose(*request);
            // The common answers are sent without a suspension.
            if (Outgoing prepared{server_.preparedAnswer(*request), {}}; !prepared.isDone()) {
                sendNow(prepared);
                if (!prepared.isDone()) co_await sendRest(prepared);
            } else {
                co_await answer(std::move(*request));
            }
            if (sendError_ || isLast) co_return;
            if (++answers % maxAnswers == 0) {
                co_await asio::post(socket_.get_executor(), asio::use_awaitable);
            }
        }
        // Also by the head of a request whose body is on its way.
        if (mustBeHandedOff()) {
            handOff(std::nullopt);
            co_return;
        }
        mayHoldWhatItHas();
        if (mustInviteBody()) {
            Outgoing interim{"HTTP/1.1 100 Continue\r\n\r\n", {}};
            sendNow(interim);
            if (!interim.isDone()) co_await sendRest(interim);
            if (sendError_) co_return;
        }

        std::string_view received;
        if (mayHaveMore && reads++ < maxReads) {
            received = receiveNow();
            mayHaveMore = received.size() == scratch_.size();
        }
        if (received.empty()) {
            boost::system::error_code error;
            const std::size_t count = co_await socket_.async_read_some(
                asio::buffer(small_), asio::redirect_error(asio::use_awaitable, error));
            if (error || count == 0) co_return;
            received = {small_.data(), count};
            mayHaveMore = count == small_.size();
            reads = answers = 0;
        }
        parser_.append(received);
        // Before the answers: a caller that does not take them makes this hold the rest.
        if (!mayHoldWhatItHas()) co_return;
    }
}

/// Tells the other unauthenticated connections what this one holds. False when that is too much.
bool Connection::mayHoldWhatItHas() {
    return !slot_ || slot_->hold(parser_.capacity());
}

std::optional<HTTPRequest> Connection::takeRequest() {
    if (firstRequest_) return std::exchange(firstRequest_, std::nullopt);
    if (const auto head = parser_.head()) {
        const bool authenticated = server_.isAuthenticated(*head);
        authenticated_ = authenticated_ || authenticated;
        const bool isLimited = slot_ && !authenticated_;
        HTTPRequest& request =
            parser_.beginRequest(isLimited ? server_.unauthenticatedLimits() : server_.authenticatedLimits());
        request.authenticated = authenticated;
    }
    return parser_.takeRequest();
}

/// Whether a client that has the right to waits to be told to go on with its body.
bool Connection::mustInviteBody() {
    const HTTPRequest* waiting = parser_.takeExpectation();
    return waiting != nullptr && waiting->authenticated;
}

/// Hands the peer over to the server, with the `request` that is not answered yet, if it is complete, and all
/// that follows it.
void Connection::handOff(std::optional<HTTPRequest> request) {
    server_.handOff({FileDescriptor(socket_.release()), std::move(parser_), std::move(request)});
}

/// What has already arrived, or nothing. The bytes are good until the next suspension: the space is shared.
/// A finished peer or an error shows again when the connection next waits.
std::string_view Connection::receiveNow() {
    boost::system::error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(scratch_.data(), scratch_.size()), error);
    return {scratch_.data(), count};
}

Task<void> Connection::answer(HTTPRequest request) {
    request.client = this;
    const HTTPResponse response = co_await server_.dispatch(std::move(request));
    const std::string head = serializeHead(response);
    Outgoing outgoing{head, response.body ? std::string_view(*response.body) : std::string_view()};
    sendNow(outgoing);
    if (!outgoing.isDone()) co_await sendRest(outgoing);
}

/// Sends what the socket takes at once.
void Connection::sendNow(Outgoing& outgoing) {
    const bool isWhole = outgoing.body.empty();
    const std::size_t count = isWhole ? socket_.write_some(asio::buffer(outgoing.head), sendError_)
                                      : socket_.write_some(outgoing.buffers(), sendError_);
    if (sendError_ == asio::error::would_block) sendError_.clear();
    outgoing.advance(count);
}

Task<void> Connection::sendRest(Outgoing outgoing) {
    while (!sendError_ && !outgoing.isDone()) {
        const std::size_t count = co_await socket_.async_write_some(
            outgoing.buffers(), asio::redirect_error(asio::use_awaitable, sendError_));
        outgoing.advance(count);
    }
}

}  // namespace varkel
