// Requests in arbitrary pieces: whatever the pieces, the requests that come out are the same. Only a head
// beyond the limit may come through in one piece, and not in several: its end counts once it is there.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/UnicodeText.h"
#include "fuzz/Property.h"
#include "http/HTTPParser.h"

namespace varkel::fuzzing {
namespace {

constexpr std::size_t largestHead = 1'048'576;

struct Parsed {
    std::vector<HTTPRequest> requests;
    /// The connection ended because of what was sent.
    bool refused = false;
    /// Bytes that are in no request yet.
    std::size_t left = 0;
};

bool areEqual(const HTTPRequest& a, const HTTPRequest& b) {
    return a.method == b.method && a.path == b.path && a.headers == b.headers && a.body == b.body;
}

/// One byte stands for many: heads and bodies near the limits come of small inputs.
std::string inflated(std::string_view text) {
    constexpr char filler = '\x01';
    constexpr std::size_t fill = 262'139;
    std::string out;
    for (const char c : text) {
        const bool inflates = c == filler && out.size() < 5 * fill;
        out.append(inflates ? fill : 1, inflates ? 'x' : c);
    }
    return out;
}

const std::vector<std::string> noHeaders;
constexpr std::size_t longestText = 256;

/// Reads as a connection does: without limits from the first head on that has the token.
class Reader {
  public:
    void receive(std::string_view piece) {
        if (parsed_.refused) return;
        parser_.append(piece);
        try {
            while (auto request = next()) take(*std::move(request));
        } catch (const HTTPError& error) {
            require(error.errorCase() == HTTPError::Case::invalidRequest, "a bad request is an invalid one");
            parsed_.refused = true;
        }
    }

    Parsed finish() && {
        parsed_.left = parser_.bytes().size();
        return std::move(parsed_);
    }

  private:
    std::optional<HTTPRequest> next() {
        if (const auto head = parser_.head()) {
            authenticated_ = authenticated_ || headerValue(*head, "t") == "1";
            const RequestLimits limits{&noHeaders, longestText, false};
            parser_.beginRequest(authenticated_ ? RequestLimits() : limits).authenticated = authenticated_;
        }
        return parser_.takeRequest();
    }

    void take(HTTPRequest request) {
        std::size_t kept = request.method.size() + request.path.size() + request.body.size();
        if (request.authenticated) {
            require(isValidUTF8(request.path) && isValidUTF8(request.method), "a head is UTF-8");
        }
        for (const auto& [name, value] : request.headers) {
            kept += name.size() + value.size();
            if (!request.authenticated) continue;
            require(name == lowerCased(trimmedOfBlanks(name)), "names are lower-cased and trimmed");
            require(value == trimmedOfBlanks(value), "values are trimmed");
        }
        require(request.authenticated || kept < 2048, "little is kept of an unauthenticated request");
        parsed_.requests.push_back(std::move(request));
    }

    HTTPParser parser_;
    bool authenticated_ = false;
    Parsed parsed_;
};

/// What is made of bytes that come in pieces of these lengths and the rest.
Parsed parsed(std::string_view bytes, const std::vector<std::size_t>& lengths) {
    Reader reader;
    for (const std::size_t length : lengths) {
        reader.receive(bytes.substr(0, length));
        bytes.remove_prefix(std::min(length, bytes.size()));
    }
    reader.receive(bytes);
    return std::move(reader).finish();
}

}  // namespace

void check(std::string_view data) {
    FuzzedDataProvider input(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
    // From the input's end, so that its beginning can be read as it is.
    std::vector<std::size_t> lengths;
    for (int pieces = input.ConsumeIntegralInRange(0, 12); pieces > 0; --pieces) {
        const std::size_t length = input.ConsumeIntegral<std::uint8_t>();
        lengths.push_back((input.ConsumeBool() ? 4093 : 1) * length);
    }
    // Seldom, as it takes long.
    const bool inflates = input.ConsumeIntegral<std::uint8_t>() % 64 == 1;
    std::string bytes = input.ConsumeRemainingBytesAsString();
    if (inflates) bytes = inflated(bytes);

    const Parsed whole = parsed(bytes, {});
    const Parsed inPieces = parsed(bytes, lengths);
    if (inPieces.refused && inPieces.left > largestHead) {
        require(whole.requests.size() >= inPieces.requests.size() &&
                    std::equal(inPieces.requests.begin(), inPieces.requests.end(), whole.requests.begin(),
                               areEqual),
                "pieces do not change the requests before a head that is too long");
        return;
    }
    require(whole.refused == inPieces.refused, "pieces do not decide what is refused");
    require(std::ranges::equal(whole.requests, inPieces.requests, areEqual), "pieces do not change requests");
    require(whole.refused || whole.left == inPieces.left, "pieces do not change how much is left");
}

}  // namespace varkel::fuzzing
