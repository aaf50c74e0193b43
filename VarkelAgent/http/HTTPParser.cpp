#include "http/HTTPParser.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/ParseInteger.h"
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

bool isKept(std::string_view name, const RequestLimits& limits) {
    if (limits.headers == nullptr) return true;
    const auto isName = [&](std::string_view wanted) { return equalsIgnoringCase(name, wanted); };
    constexpr std::array<std::string_view, 2> framing{"connection", "content-length"};
    return std::ranges::any_of(framing, isName) || std::ranges::any_of(*limits.headers, isName);
}

HTTPRequest readHead(std::string_view head, const RequestLimits& limits) {
    HTTPRequest request;
    readRequestLine(request, takePiece(head, lineEnd));
    // Assigned anew, so that what is cut off holds no memory.
    request.method = request.method.substr(0, limits.textLength);
    request.path = request.path.substr(0, limits.textLength);
    while (const auto line = takeHeader(head)) {
        if (!isKept(line->name, limits)) continue;
        request.headers.insert_or_assign(lowerCased(line->name),
                                         std::string(line->value.substr(0, limits.textLength)));
    }
    return request;
}

/// A value that is no integer counts as no body. A length that cannot be meant ends the connection: taking it
/// for 0 would have the body read as requests.
std::uint64_t bodyLength(std::string_view head) {
    const auto value = headerValue(head, "content-length");
    if (!value) return 0;
    std::string_view digits = *value;
    if (digits.starts_with('-') || digits.starts_with('+')) digits.remove_prefix(1);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (digits.empty() || !std::ranges::all_of(digits, isDigit)) return 0;

    const auto length = parseInteger<std::int64_t>(*value);
    if (!length || *length < 0) failInvalid();
    return static_cast<std::uint64_t>(*length);
}

}  // namespace

std::optional<std::string_view> headerValue(std::string_view head, std::string_view name) {
    takePiece(head, lineEnd);
    std::optional<std::string_view> value;
    while (const auto line = takeHeader(head)) {
        if (equalsIgnoringCase(line->name, name)) value = line->value;
    }
    return value;
}

void HTTPParser::append(std::string_view received) {
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
void HTTPParser::makeRoom(std::size_t size) {
    constexpr std::size_t longestHeadAndMore = largestHead + 65'536;
    if (size <= bytes_.capacity() || size > longestHeadAndMore) return;
    // A string that has none yet takes the capacity that it is told.
    std::string grown;
    grown.reserve(std::clamp(2 * bytes_.capacity(), size, longestHeadAndMore));
    grown += bytes_;
    bytes_.swap(grown);
}

void HTTPParser::clear() {
    std::string().swap(bytes_);
    start_ = 0;
    searched_ = 0;
    headLength_.reset();
}

std::optional<std::string_view> HTTPParser::head() {
    if (request_) return std::nullopt;
    const std::string_view all = bytes();
    if (headLength_) return all.substr(0, *headLength_);
    const std::size_t end = all.find(headEnd, searched_);
    if (end != std::string_view::npos) {
        if (!isValidUTF8(all.substr(0, end))) failInvalid();
        headLength_ = end;
        return all.substr(0, end);
    }
    // The last three bytes may be the start of an end.
    searched_ = std::max(searched_, all.size() - std::min(all.size(), headEnd.size() - 1));
    if (all.size() > largestHead) failInvalid();
    return std::nullopt;
}

HTTPRequest& HTTPParser::beginRequest(const RequestLimits& limits) {
    const std::string_view head = bytes().substr(0, headLength_.value());
    HTTPRequest request = readHead(head, limits);
    missing_ = bodyLength(head);
    keepsBody_ = limits.keepsBody && missing_ <= limits.longestBody;
    const std::string* expectation = request.header("expect");
    expectsContinue_ =
        missing_ > 0 && expectation != nullptr && equalsIgnoringCase(*expectation, "100-continue");
    consume(head.size() + headEnd.size());
    request_ = std::move(request);
    consume(receiveBody(bytes()));
    return *request_;
}

std::optional<HTTPRequest> HTTPParser::takeRequest() {
    if (missing_ > 0) return std::nullopt;
    return std::exchange(request_, std::nullopt);
}

const HTTPRequest* HTTPParser::takeExpectation() {
    return std::exchange(expectsContinue_, false) ? &*request_ : nullptr;
}

void HTTPParser::consume(std::size_t count) {
    start_ += count;
    searched_ = 0;
    headLength_.reset();
    if (start_ < bytes_.size()) return;
    start_ = 0;
    bytes_.clear();
    if (bytes_.capacity() > keptCapacity) std::string().swap(bytes_);
}

/// Gives the awaited body what belongs to it and returns how much that was.
std::size_t HTTPParser::receiveBody(std::string_view received) {
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(missing_, received.size()));
    if (count == 0) return 0;
    expectsContinue_ = false;
    if (keepsBody_) {
        std::string& body = request_->body;
        if (body.capacity() - body.size() < count) {
            const std::uint64_t ahead = std::max((body.size() + count) * bodyGrowth, smallestBodyReserve);
            body.reserve(static_cast<std::size_t>(std::min(ahead, body.size() + missing_)));
        }
        body.append(received.substr(0, count));
    }
    missing_ -= count;
    return count;
}

std::optional<HTTPRequest> parseRequest(HTTPParser& parser, const RequestLimits& limits) {
    if (parser.head()) parser.beginRequest(limits);
    return parser.takeRequest();
}

}  // namespace varkel
