#include <gmock/gmock.h>

#include "http/HTTPParser.h"
#include "http/HTTPSerializer.h"

namespace varkel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::size_t mebibyte = 1'048'576;

HTTPParser parserOf(std::string_view bytes) {
    HTTPParser parser;
    parser.append(bytes);
    return parser;
}

HTTPRequest parsed(std::string_view bytes) {
    HTTPParser parser = parserOf(bytes);
    auto request = parseRequest(parser);
    if (!request) throw std::runtime_error("no request");
    return std::move(*request);
}

TEST(HTTPParser, ReadsTheRequestLineAsItIs) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"GET /health HTTP/1.1", "GET", "/health"},
        {"get /Health?a=b c d", "get", "/Health?a=b"},
        {"GET  /health HTTP/1.1", "GET", ""},
        {"GET /health", "GET", "/health"},
        {" /health", "", "/health"},
        {"\nGET /x", "\nGET", "/x"},
    };
    for (const auto& [head, method, path] : cases) {
        const HTTPRequest request = parsed(head + "\r\n\r\n");
        EXPECT_EQ(request.method, method) << head;
        EXPECT_EQ(request.path, path) << head;
        EXPECT_THAT(request.headers, IsEmpty()) << head;
    }
}

TEST(HTTPParser, TrimsHeadersAndLowerCasesTheirNames) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"X-Varkel-Token:abc", "x-varkel-token", "abc"},
        {" \t X-Varkel-Token \t: \t abc def \t", "x-varkel-token", "abc def"},
        {"Date: 10:20:30", "date", "10:20:30"},
        {":v", "", "v"},
        {"n:", "n", ""},
        {"\u00A0\u3000N\u2009:\u202Fv\u205F", "n", "v"},
        {"n:\nv\n", "n", "\nv\n"},
        {"n:\u200Bv", "n", "\u200Bv"},
        {"\u00C4\u0130-X: \u00C4", "\u00E4i\u0307-x", "\u00C4"},
    };
    for (const auto& [line, name, value] : cases) {
        EXPECT_THAT(parsed("GET / x\r\n" + line + "\r\n\r\n").headers, ElementsAre(Pair(name, value)))
            << line;
    }
    EXPECT_THAT(parsed("G /\r\nA: 1\r\nno colon\r\na: 2\r\nB: 3\r\n\r\n").headers,
                ElementsAre(Pair("a", "2"), Pair("b", "3")));
}

TEST(HTTPParser, RefusesHeadsThatCannotBeRead) {
    const std::vector<std::string> heads{"",
                                         "GET",
                                         "GET /\xFF",
                                         "GET /\r\nx: \xC0\xAF",
                                         "GET /\r\nx: \xED\xA0\x80",
                                         "GET /\r\nx: \xE2\x82",
                                         "GET /\r\nContent-Length: -1",
                                         "GET /\r\nContent-Length: 9223372036854775808",
                                         "GET /\r\nContent-Length: +99999999999999999999999"};
    for (const std::string& head : heads) {
        HTTPParser parser = parserOf(head + "\r\n\r\n");
        try {
            parseRequest(parser);
            ADD_FAILURE() << "accepted: " << head;
        } catch (const HTTPError& error) {
            EXPECT_EQ(error.errorCase(), HTTPError::Case::invalidRequest);
        }
    }
}

TEST(HTTPParser, ReadsTheBodyLength) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"3", "abc", "de"},   {"+3", "abc", "de"},  {"003", "abc", "de"}, {" 3 ", "abc", "de"},
        {"0", "", "abcde"},   {"-0", "", "abcde"},  {"", "", "abcde"},    {"3x", "", "abcde"},
        {"0x3", "", "abcde"}, {"3.0", "", "abcde"}, {"+", "", "abcde"},   {"+-3", "", "abcde"},
        {"3 3", "", "abcde"}, {"5", "abcde", ""},
    };
    for (const auto& [value, body, rest] : cases) {
        HTTPParser parser = parserOf("P /\r\nContent-Length:" + value + "\r\n\r\nabcde");
        const auto request = parseRequest(parser);
        ASSERT_TRUE(request) << value;
        EXPECT_EQ(request->body, body) << value;
        EXPECT_EQ(parser.bytes(), rest) << value;
    }
}

TEST(HTTPParser, ReservesForWhatArrivedAndNotForWhatWasAnnounced) {
    HTTPParser parser = parserOf("POST / x\r\nContent-Length: 4611686018427387904\r\n\r\nabc");
    EXPECT_FALSE(parseRequest(parser));
    parser.append(std::string(100'000, 'x'));
    EXPECT_FALSE(parseRequest(parser));
    EXPECT_TRUE(parser.bytes().empty());
}

TEST(HTTPParser, YieldsTheSameRequestsHoweverTheBytesAreSplit) {
    const std::string bytes =
        "POST /a HTTP/1.1\r\nContent-Length: 5\r\n\r\nhe\r\n\r"
        "GET /b HTTP/1.1\r\nX: 1\r\n\r\n"
        "POST /c HTTP/1.1\r\nContent-Length: 1\r\n\r\n\nrest";
    for (std::size_t piece = 1; piece <= bytes.size(); ++piece) {
        HTTPParser parser;
        std::vector<std::pair<std::string, std::string>> got;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            parser.append(std::string_view(bytes).substr(at, piece));
            while (auto request = parseRequest(parser)) got.emplace_back(request->path, request->body);
        }
        EXPECT_THAT(got, ElementsAre(Pair("/a", "he\r\n\r"), Pair("/b", ""), Pair("/c", "\n"))) << piece;
        EXPECT_EQ(parser.bytes(), "rest") << piece;
    }
}

TEST(HTTPParser, LimitsAHeadWithoutAnEnd) {
    HTTPParser parser = parserOf(std::string(mebibyte, 'x'));
    EXPECT_FALSE(parseRequest(parser));
    EXPECT_EQ(parser.bytes().size(), mebibyte);
    parser.append("x");
    EXPECT_THROW(parseRequest(parser), HTTPError);

    HTTPParser lineFeeds = parserOf("GET / HTTP/1.1\nHost: x\n\n");
    EXPECT_FALSE(parseRequest(lineFeeds));

    // The end counts when it is there, even when it came with the byte that would have been too many.
    HTTPParser ended = parserOf("GET /" + std::string(mebibyte, 'x'));
    ended.append("\r\n\r\n");
    EXPECT_EQ(parseRequest(ended)->path.size(), mebibyte + 1);
}

TEST(HTTPParser, KeepsNoMoreThanTheLimitsAllow) {
    const std::vector<std::string> wanted{"wanted"};
    const RequestLimits limits{&wanted, 9, false};
    HTTPParser parser;
    parser.append("P /1\r\nConnection: close\r\nother: x\r\nWanted: " + std::string(1000, 'w') +
                  "\r\nContent-Length: 5\r\n\r\nab");
    EXPECT_FALSE(parseRequest(parser, limits));
    parser.append("cde");
    const auto limited = parseRequest(parser, limits);
    ASSERT_TRUE(limited);
    EXPECT_EQ(limited->path, "/1");
    EXPECT_EQ(limited->body, "");
    EXPECT_EQ(*limited->header("connection"), "close");
    EXPECT_FALSE(limited->header("other"));
    EXPECT_EQ(*limited->header("wanted"), "wwwwwwwww");

    parser.append("GET /" + std::string(1000, 'p') + " x\r\n\r\n");
    EXPECT_EQ(parseRequest(parser, limits)->path, "/pppppppp");

    parser.append("P /3\r\nother: x\r\nContent-Length: 1\r\n\r\nh");
    const auto whole = parseRequest(parser);
    EXPECT_EQ(whole->body, "h") << "limits hold for one request";
    EXPECT_TRUE(whole->header("other"));
}

TEST(HTTPParser, FindsAHeaderBeforeTheRequestIsRead) {
    constexpr std::string_view head = "GET / x\r\n\u212AEEP : 1\r\nkeep: 2 \r\nnone";
    EXPECT_EQ(headerValue(head, "keep"), "2") << "of several the last one counts";
    EXPECT_EQ(headerValue(head, "get / x"), std::nullopt);
    EXPECT_EQ(headerValue("GET /\r\n\u212AEEP : 1", "keep"), "1") << "names are lower-cased as in requests";
}

TEST(HTTPParser, SerializesResponses) {
    const std::tuple<int, HTTPHeaders, std::string> cases[] = {
        {200, {}, "HTTP/1.1 200 OK\r\nConnection: keep-alive\r\nContent-Length: 4\r\n\r\nbody"},
        {403,
         {{"A", "b"}},
         "HTTP/1.1 403 Unknown\r\nA: b\r\nConnection: keep-alive\r\nContent-Length: 4\r\n\r\nbody"},
        {404,
         {{"cOnNeCtIoN", "close"}},
         "HTTP/1.1 404 Not Found\r\ncOnNeCtIoN: close\r\nContent-Length: 4\r\n\r\nbody"},
        {500,
         {{"CONTENT-LENGTH", "4"}},
         "HTTP/1.1 500 Internal Server Error\r\nCONTENT-LENGTH: 4\r\nConnection: keep-alive\r\n\r\nbody"},
    };
    for (const auto& [status, headers, bytes] : cases) {
        const HTTPResponse response{status, headers, std::make_shared<const std::string>("body")};
        EXPECT_EQ(serializeResponse(response), bytes);
    }
    std::string names;
    for (const int status : {201, 400, 401, 405, 402, 504, -1}) names.append(statusText(status)).append("|");
    EXPECT_EQ(names, "Created|Bad Request|Unauthorized|Method Not Allowed|Unknown|Unknown|Unknown|");
    EXPECT_EQ(serializeResponse(HTTPResponse{}),
              "HTTP/1.1 200 OK\r\nConnection: keep-alive\r\nContent-Length: 0\r\n\r\n");
}

}  // namespace
}  // namespace varkel
