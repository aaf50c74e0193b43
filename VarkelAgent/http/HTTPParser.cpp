#include "http/HTTPParser.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/UnicodeText.h"

namespace varkel {

namespace {

constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view headEnd = "\r\n\r\n";
constexpr std::size_t largestHead = 1'048'576;

// An empty buffer keeps this much for the next request and gives the rest back.
constexpr std::size_t keptCapacity = 4'096;

// A body's memory runs ahead of what has arrived by this factor. Pages that nothing was written to cost
// nothing, and what is copied when it grows stays a small part of the whole.
constexpr std::uint64_t bodyGrowth = 8;
constexpr std::uint64_t smallestBodyReserve = 65'536;

[[noreturn]] void failInvalid() {
    throw HTTPError(HTTPError::Case::invalidRequest);
}

/// The text up to the first `separator`, which is removed from `rest` with it; all of it when there is none.
std::string_view takePiece(std::string_view& rest, std::string_view separator) {
    const std::size_t end = rest.find(separator);
    const std::string_view piece = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + separator.size());
    return piece;
}

void readRequestLine(HTTPRequest& request, std::string_view line) {
    const std::size_t methodEnd = line.find(' ');
    if (methodEnd == std::string_view::npos) failInvalid();
    request.method = line.substr(0, methodEnd);
    line.remove_prefix(methodEnd + 1);
    request.path = line.substr(0, line.find(' '));
}

struct HeaderLine {
    std::string_view name;
    std::string_view value;
};

/// The next line that is a header, removed from `rest` with those before it.
std::optional<HeaderLine> takeHeader(std::string_view& rest) {
    while (!rest.empty()) {
        const std::string_view line = takePiece(rest, lineEnd);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        return HeaderLine{trimmedOfBlanks(line.substr(0, colon)), trimmedOfBlanks(line.substr(colon + 1))};
    }
    return std::nullopt;
}

/// All of a head.
HTTPRequest readWholeHead(std::string_view head) {
    HTTPRequest request;
    readRequestLine(request, takePiece(head, lineEnd));
    while (const auto line = takeHeader(head)) {
        request.headers.insert_or_assign(lowerCased(line->name), std::string(line->value));
    }
    return request;
}

/// What is kept of a stranger's head: it may be a mebibyte long, take many times that in memory, and wait for
/// a body that never comes. Nothing when the caller is no stranger.
std::optional<HTTPRequest> readStrangersHead(std::string_view head, const CallerCheck& check) {
    HTTPRequest request;
    readRequestLine(request, takePiece(head, lineEnd));
    std::optional<std::string_view> shown;
    while (const auto line = takeHeader(head)) {
        // Of several the last one counts, as in a request that is read whole.
        if (equalsIgnoringCase(line->name, check.header)) shown = line->value;
        for (const char* name : {"connection", "content-length"}) {
            if (equalsIgnoringCase(line->name, name)) request.headers[name] = line->value;
        }
        for (const std::string& name : check.keptHeaders) {
            if (equalsIgnoringCase(line->name, name)) request.headers[name] = line->value;
        }
    }
    if (shown && check.isTrusted(*shown)) return std::nullopt;
    return request;
}

/// Cuts what a stranger has written longer than anything that is of use.
void shorten(HTTPRequest& request) {
    constexpr std::size_t longestOfUse = 256;
    for (std::string* text : {&request.method, &request.path}) {
        if (text->size() > longestOfUse) *text = text->substr(0, longestOfUse);
    }
    for (auto& [name, value] : request.headers) {
        if (value.size() > longestOfUse) value = value.substr(0, longestOfUse);
    }
}

/// A value that is no integer counts as no body. A length that cannot be meant ends the connection: taking it
/// for 0 would have the body read as requests.
std::uint64_t bodyLength(const HTTPRequest& request) {
    const std::string* value = request.header("content-length");
    if (value == nullptr) return 0;
    std::string_view digits = *value;
    const bool negative = digits.starts_with('-');
    if (negative || digits.starts_with('+')) digits.remove_prefix(1);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (digits.empty() || !std::ranges::all_of(digits, isDigit)) return 0;

    std::int64_t length = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (result.ec != std::errc() || (negative && length != 0)) failInvalid();
    return static_cast<std::uint64_t>(length);
}

}  // namespace

void ReceiveBuffer::append(std::string_view received) {
    received.remove_prefix(receiveBody(received));
    if (received.empty()) return;
    if (start_ > 0) {
        bytes_.erase(0, start_);
        start_ = 0;
    }
    makeRoom(bytes_.size() + received.size());
    bytes_ += received;
}

/// Doubles the capacity as a string does by itself, but not to twice the longest head: many of them may be
/// held at once.
void ReceiveBuffer::makeRoom(std::size_t size) {
    constexpr std::size_t longestHeadAndMore = largestHead + 65'536;
    if (size <= bytes_.capacity() || size > longestHeadAndMore) return;
    // A string that has none yet takes the capacity that it is told.
    std::string grown;
    grown.reserve(std::clamp(2 * bytes_.capacity(), size, longestHeadAndMore));
    grown += bytes_;
    bytes_.swap(grown);
}

void ReceiveBuffer::forget() {
    std::string().swap(bytes_);
    start_ = 0;
    searched_ = 0;
}

std::optional<std::string_view> ReceiveBuffer::findHead() {
    const std::string_view all = bytes();
    const std::size_t end = all.find(headEnd, searched_);
    const bool found = end != std::string_view::npos;
    examined_ += (found ? end + headEnd.size() : all.size()) - std::min(searched_, all.size());
    if (found) return all.substr(0, end);
    // The last three bytes may be the start of an end.
    searched_ = std::max(searched_, all.size() - std::min(all.size(), headEnd.size() - 1));
    if (all.size() > largestHead) failInvalid();
    return std::nullopt;
}

HTTPRequest ReceiveBuffer::readHead(std::string_view head) {
    if (!knowsCaller()) {
        if (auto strangers = readStrangersHead(head, *check_)) return *std::move(strangers);
        check_ = nullptr;
    }
    return readWholeHead(head);
}

void ReceiveBuffer::consume(std::size_t count) {
    start_ += count;
    searched_ = 0;
    if (start_ < bytes_.size()) return;
    start_ = 0;
    bytes_.clear();
    if (bytes_.capacity() > keptCapacity) std::string().swap(bytes_);
}

void ReceiveBuffer::expectBody(HTTPRequest head, std::uint64_t length) {
    partial_ = std::move(head);
    missing_ = length;
    const std::string* expectation = partial_->header("expect");
    expectsContinue_ = expectation != nullptr && equalsIgnoringCase(*expectation, "100-continue");
    consume(receiveBody(bytes()));
}

const HTTPRequest* ReceiveBuffer::takeExpectation() {
    return std::exchange(expectsContinue_, false) ? &*partial_ : nullptr;
}

/// Gives the awaited body what belongs to it and returns how much that was.
std::size_t ReceiveBuffer::receiveBody(std::string_view received) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(missing_, received.size()));
    if (count == 0) return 0;
    expectsContinue_ = false;
    if (knowsCaller()) {
        std::string& body = partial_->body;
        if (body.capacity() - body.size() < count) {
            const std::uint64_t ahead = std::max((body.size() + count) * bodyGrowth, smallestBodyReserve);
            body.reserve(static_cast<std::size_t>(std::min(ahead, body.size() + missing_)));
        }
        body.append(received.substr(0, count));
    }
    missing_ -= count;
    return count;
}

std::optional<HTTPRequest> parseRequest(ReceiveBuffer& buffer) {
    if (!buffer.partial_) {
        const auto head = buffer.findHead();
        if (!head) return std::nullopt;
        if (!isValidUTF8(*head)) failInvalid();
        HTTPRequest request = buffer.readHead(*head);
        const std::uint64_t length = bodyLength(request);
        if (!buffer.knowsCaller()) shorten(request);
        buffer.consume(head->size() + headEnd.size());
        if (length == 0) return request;
        buffer.expectBody(std::move(request), length);
    }
    if (buffer.missing_ > 0) return std::nullopt;
    return std::exchange(buffer.partial_, std::nullopt);
}

std::string serializeHead(const HTTPResponse& response) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + ' ' + statusText(response.status);
    head += lineEnd;
    bool hasConnection = false;
    bool hasLength = false;
    for (const auto& [name, value] : response.headers) {
        head.append(name).append(": ").append(value).append(lineEnd);
        hasConnection = hasConnection || equalsIgnoringCase(name, "connection");
        hasLength = hasLength || equalsIgnoringCase(name, "content-length");
    }
    if (!hasConnection) head.append("Connection: keep-alive").append(lineEnd);
    if (!hasLength) {
        const std::size_t length = response.body ? response.body->size() : 0;
        head.append("Content-Length: ").append(std::to_string(length)).append(lineEnd);
    }
    head += lineEnd;
    return head;
}

std::string serializeResponse(const HTTPResponse& response) {
    std::string bytes = serializeHead(response);
    if (response.body) bytes += *response.body;
    return bytes;
}

const char* statusText(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 201:
            return "Created";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 500:
            return "Internal Server Error";
        default:
            return "Unknown";
    }
}

}  // namespace varkel
