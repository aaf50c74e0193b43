#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/HTTPMessage.h"

namespace varkel {

/// How much of a request is kept.
struct RequestLimits {
    /// The header fields that are kept, in lower case, beside those that frame the message; all of them when
    /// null.
    const std::vector<std::string>* headers = nullptr;
    /// Bytes of the method, of the path and of each header's value.
    std::size_t textLength = std::string::npos;
    bool keepsBody = true;
    /// Bytes of a body that is kept; one that announces more is read off and thrown away.
    std::uint64_t longestBody = std::numeric_limits<std::uint64_t>::max();
};

/// The last value of a header in the bytes of a head, by the header's lower-case name. Any thread.
std::optional<std::string_view> headerValue(std::string_view head, std::string_view name);

/// Makes requests of the bytes of one connection. A body is received into the request that it belongs to, so
/// it is held once; memory grows with what has arrived, not with what was announced. Not for use from several
/// threads at once.
class HTTPParser {
  public:
    void append(std::string_view received);

    /// What follows the requests that have begun.
    std::string_view bytes() const { return std::string_view(bytes_).substr(start_); }

    /// The head of the next request without the empty line that ends it, once it is complete and the request
    /// before it has been taken. It is valid UTF-8, and good until the next call of another function. Throws
    /// HTTPError::invalidRequest for a head that does not end within 1 MiB or is not UTF-8; the parser is of
    /// no use afterwards, here and below.
    std::optional<std::string_view> head();

    /// Begins the request whose head() there is. Throws HTTPError::invalidRequest for a request line of fewer
    /// than two fields, and for a body length that is negative or that 64 bits cannot hold.
    HTTPRequest& beginRequest(const RequestLimits& limits);

    /// The request that has begun, once its body is complete.
    std::optional<HTTPRequest> takeRequest();

    /// The request whose client waits to be told to go on before it sends the body; null when there is none,
    /// and from the second call on.
    const HTTPRequest* takeExpectation();

    /// Frees the memory. The parser is of no use afterwards.
    void clear();

    /// How much memory is held for bytes that are not part of a body.
    std::size_t capacity() const { return bytes_.capacity(); }

  private:
    void makeRoom(std::size_t size);
    void consume(std::size_t count);
    std::size_t receiveBody(std::string_view received);

    std::string bytes_;
    /// Where the bytes that count start: removal from the front costs nothing.
    std::size_t start_ = 0;
    /// No end of a head starts before this offset from `start_`.
    std::size_t searched_ = 0;
    std::optional<std::size_t> headLength_;

    std::optional<HTTPRequest> request_;
    std::uint64_t missing_ = 0;
    bool keepsBody_ = true;
    bool expectsContinue_ = false;
};

/// The next request, under limits that are the same for all; nothing when more bytes are needed.
std::optional<HTTPRequest> parseRequest(HTTPParser& parser, const RequestLimits& limits = {});

}  // namespace varkel
