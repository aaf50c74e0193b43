#include "http/Connection.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <utility>

#include "http/UnicodeText.h"

namespace varkel {

namespace asio = boost::asio;

namespace {

// How often a connection that always has more to read does so before the thread's other connections get
// their turn: about a megabyte. What strangers send is read off in smaller turns.
constexpr int maxReadsInTurn = 16;
constexpr int maxReadsOfStranger = 1;

// The same for the requests that one read has brought.
constexpr int maxAnswersInTurn = 64;
constexpr int maxAnswersToStranger = 8;

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

Connection::Connection(asio::ip::tcp::socket socket, RequestServer& server, std::span<char> scratch,
                       Strangers& strangers)
    : socket_(std::move(socket)),
      server_(server),
      scratch_(scratch),
      stranger_(strangers, [this] { close(); }),
      buffer_(&server.callerCheck()) {
    socket_.non_blocking(true);
    socket_.set_option(asio::ip::tcp::no_delay(true));
}

void Connection::close() {
    boost::system::error_code ignored;
    socket_.close(ignored);
}

Task<void> Connection::serve() {
    while (true) {
        boost::system::error_code error;
        const std::size_t count = co_await socket_.async_read_some(
            asio::buffer(small_), asio::redirect_error(asio::use_awaitable, error));
        if (error || count == 0) co_return;

        std::string_view received(small_.data(), count);
        bool mayHaveMore = count == small_.size();
        int answers = 0;
        for (int reads = 0; !received.empty(); ++reads) {
            buffer_.append(received);
            // Before the answers: a caller that does not take them makes this hold the rest.
            if (!stranger_.hold(buffer_.capacity())) co_return;
            while (auto request = parseRequest(buffer_)) {
                if (buffer_.knowsCaller()) stranger_.leave();
                const bool isLast = asksForClose(*request);
                // The common answers are sent without a suspension.
                if (Outgoing prepared{server_.preparedAnswer(*request), {}}; !prepared.isDone()) {
                    sendNow(prepared);
                    if (!prepared.isDone()) co_await sendRest(prepared);
                } else {
                    co_await answer(std::move(*request));
                }
                if (sendError_ || isLast) co_return;
                if (++answers % (stranger_.isTaken() ? maxAnswersToStranger : maxAnswersInTurn) == 0) {
                    co_await asio::post(socket_.get_executor(), asio::use_awaitable);
                }
            }
            // Also by the head of a request whose body is on its way.
            if (buffer_.knowsCaller()) stranger_.leave();
            stranger_.hold(buffer_.capacity());
            const int maxReads = stranger_.isTaken() ? maxReadsOfStranger : maxReadsInTurn;
            if (!mayHaveMore || reads >= maxReads) break;
            received = receiveNow();
            mayHaveMore = received.size() == scratch_.size();
        }
    }
}

/// What has already arrived, or nothing. The bytes are good until the next suspension: the space is shared.
/// A finished peer or an error shows again when the connection next waits.
std::string_view Connection::receiveNow() {
    boost::system::error_code error;
    const std::size_t count = socket_.read_some(asio::buffer(scratch_.data(), scratch_.size()), error);
    return {scratch_.data(), count};
}

Task<void> Connection::answer(HTTPRequest request) {
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
