#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/HTTPMessage.h"

namespace varkel {

/// Tells the callers who have a right to the service from the others, by one header of their requests.
struct CallerCheck {
    /// In lower case.
    std::string header;
    std::function<bool(std::string_view value)> isTrusted;
    /// In lower case: further headers that are kept of requests whose callers have not passed, because their
    /// answers need them.
    std::vector<std::string> keptHeaders = {};
};

/// The bytes of one connection that are not yet part of a returned request, and what is known about them:
/// how far the end of a head was searched for, and the request whose body is on its way. A body is received
/// into the request that it belongs to, so it is held once; memory grows with what has arrived, not with what
/// was announced. Until the caller has passed the check, nothing is kept of a request but what an answer
/// needs: the start of the request line, the connection header and those that the check names. Not for use
/// from several threads at once.
class ReceiveBuffer {
  public:
    /// Without a check every caller is known. The check must outlive the buffer.
    explicit ReceiveBuffer(const CallerCheck* check = nullptr) : check_(check) {}

    void append(std::string_view received);

    /// What follows the returned requests, and the request whose body is on its way.
    std::string_view bytes() const { return std::string_view(bytes_).substr(start_); }

    /// Whether a head has been taken in and its body is not complete.
    bool awaitsBody() const { return partial_.has_value(); }

    /// The request whose client waits to be told to go on before it sends the body; null when there is none,
    /// and from the second call on.
    const HTTPRequest* takeExpectation();

    /// Frees the memory. The buffer is of no use afterwards.
    void forget();

    /// Whether the caller has passed the check, with any of the heads so far.
    bool knowsCaller() const { return check_ == nullptr; }

    /// How many bytes have been looked at in search of the ends of heads.
    std::uint64_t examinedBytes() const { return examined_; }

    /// How much memory is held for bytes that are not part of a body.
    std::size_t capacity() const { return bytes_.capacity(); }

  private:
    friend std::optional<HTTPRequest> parseRequest(ReceiveBuffer& buffer);

    void makeRoom(std::size_t size);
    std::optional<std::string_view> findHead();
    HTTPRequest readHead(std::string_view head);
    void consume(std::size_t count);
    void expectBody(HTTPRequest head, std::uint64_t length);
    std::size_t receiveBody(std::string_view received);

    /// Null once the caller is known.
    const CallerCheck* check_;

    std::string bytes_;
    /// Where the bytes that count start: removal from the front costs nothing.
    std::size_t start_ = 0;
    /// No end of a head starts before this offset from `start_`.
    std::size_t searched_ = 0;
    std::uint64_t examined_ = 0;

    std::optional<HTTPRequest> partial_;
    std::uint64_t missing_ = 0;
    bool expectsContinue_ = false;
};

/// Takes the first complete request out of the buffer, or nothing when more bytes are needed. Raises
/// HTTPError::invalidRequest for a head that does not end within 1 MiB, is not UTF-8, has a request line of
/// fewer than two fields, or announces a negative body length or one that 64 bits cannot hold; the buffer is
/// of no use afterwards.
std::optional<HTTPRequest> parseRequest(ReceiveBuffer& buffer);

/// The status line and the header lines of a response, with the empty line that ends them. A Connection and
/// a Content-Length line are added when the response has none.
std::string serializeHead(const HTTPResponse& response);

/// The bytes of a response: its head and its body.
std::string serializeResponse(const HTTPResponse& response);

/// The reason phrase of a status; "Unknown" for those that the agent gives no phrase.
const char* statusText(int status);

}  // namespace varkel
