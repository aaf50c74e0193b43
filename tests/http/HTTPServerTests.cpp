#include <gmock/gmock.h>

#include <future>

#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "support/RawClient.h"
#include "support/RunningServer.h"

namespace varkel::test {
namespace {

constexpr const char* token = "Right-Token";
constexpr const char* health = "GET /health HTTP/1.1\r\n\r\n";

Task<HTTPResponse> echo(HTTPRequest request) {
    co_return jsonTextResponse(200, std::move(request.body));
}

std::string post(const std::string& path, const std::string& body) {
    return requestText("POST " + path, body, std::string("X-VARKEL-token: ") + token + "\r\n");
}

template <class Error>
RouteHandler throwing(Error error) {
    return [error](HTTPRequest) -> Task<HTTPResponse> {
        throw error;
        co_return HTTPResponse{};
    };
}

/// A server on a free port with the routes that a test adds, between start() and the test's end.
class HTTPServerTest : public testing::Test {
  protected:
    void start() {
        server.registerRoute("POST", "/echo", echo);
        running.emplace(server);
    }

    RawClient client() { return RawClient(server.listeningPort()); }

    /// Clients that have sent a request: more than there are I/O threads.
    std::vector<RawClient> crowd(const std::string& bytes) {
        std::vector<RawClient> clients;
        for (int i = 0; i < 4; ++i) {
            clients.push_back(client());
            clients.back().send(bytes);
        }
        return clients;
    }

    HTTPServer server{0, token};
    std::optional<RunningServer> running;
};

TEST_F(HTTPServerTest, AnswersInTheOrderOfItsTests) {
    server.registerRoute("POST", "/plain", throwing(std::runtime_error("the reason")));
    server.registerRoute("POST", "/number", throwing(7));
    server.registerRoute("POST", "/unprintable", throwing(std::runtime_error("\xFF")));
    using Case = HTTPError::Case;
    for (const auto errorCase : {Case::invalidRequest, Case::notFound, Case::methodNotAllowed,
                                 Case::badRequest, Case::unauthorized}) {
        server.registerRoute("POST", std::string("/") + HTTPError::caseName(errorCase),
                             throwing(HTTPError(errorCase)));
    }
    server.registerRoute("POST", "/twice", echo);
    server.registerRoute("POST", "/twice", throwing(std::runtime_error("second")));
    start();

    struct Expectation {
        std::string request, status, body;
    };
    const std::string unauthorized = R"({"error":"unauthorized"})";
    const std::string notFound = R"({"error":"not_found"})";
    const std::string withToken = "\r\nx-varkel-token:" + std::string(token) + "\r\n\r\n";
    const std::vector<Expectation> cases{
        {health, "200 OK", R"({"ok":true,"version":"0.2.0"})"},
        {"GET /health HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc", "200 OK",
         R"({"ok":true,"version":"0.2.0"})"},
        {"POST /health HTTP/1.1\r\n\r\n", "401 Unauthorized", unauthorized},
        {"GET /health?x HTTP/1.1\r\nx-varkel-token: right-token\r\n\r\n", "401 Unauthorized", unauthorized},
        {"GET /echo HTTP/1.1\r\nx-varkel-token: Right-Token2\r\n\r\n", "401 Unauthorized", unauthorized},
        {"GET /echo HTTP/1.1\r\nx-varkel-token:\r\n\r\n", "401 Unauthorized", unauthorized},
        {"GET /echo x" + withToken, "404 Not Found", notFound},
        {"post /echo x" + withToken, "404 Not Found", notFound},
        {post("/echo", R"({"a":1})"), "200 OK", R"({"a":1})"},
        {post("/twice", "1"), "200 OK", "1"},
        {post("/plain", ""), "500 Internal Server Error",
         R"({"error":"internal_error","message":"the reason"})"},
        {post("/number", ""), "500 Internal Server Error",
         R"({"error":"internal_error","message":"unknown error"})"},
        {post("/unprintable", ""), "500 Internal Server Error", R"({"error": "json_serialization_failed"})"},
        {post("/invalidRequest", ""), "500 Internal Server Error", R"({"error":"internal_error"})"},
        {post("/notFound", ""), "404 Not Found", notFound},
        {post("/methodNotAllowed", ""), "405 Method Not Allowed", R"({"error":"method_not_allowed"})"},
        {post("/badRequest", ""), "400 Bad Request", R"({"error":"bad_request"})"},
        {post("/unauthorized", ""), "401 Unauthorized", unauthorized},
    };
    // All on one connection: none of them closes it.
    RawClient connection = client();
    for (const Expectation& c : cases) {
        const RawResponse response = connection.request(c.request);
        EXPECT_EQ(response.statusLine, "HTTP/1.1 " + c.status) << c.request;
        EXPECT_EQ(response.body, c.body) << c.request;
        EXPECT_EQ(response.headers.at("Content-Type"), "application/json");
        EXPECT_EQ(response.headers.at("Connection"), "keep-alive");
    }
    EXPECT_EQ(server.getRejectionCount(), 4);
    EXPECT_EQ(server.registeredRouteCount(), 11U);
}

TEST_F(HTTPServerTest, KeepsTheOrderWhenACallerShowsTheTokenLate) {
    start();
    const std::string unauthenticated = std::string(health) + "POST /echo x\r\n\r\n";
    const std::string known = post("/echo", "first") + health + post("/echo", "second");
    const std::vector<std::string> statuses{"200 OK", "401 Unauthorized", "200 OK", "200 OK", "200 OK"};
    const std::vector<std::string> bodies{"", "", "first", "", "second"};
    const std::string all = unauthenticated + known;
    // In one piece, and cut within the body that brings the token, in its head, and before it.
    for (const std::size_t cut :
         {all.size(), all.find("first") + 2, all.find("first") - 9, unauthenticated.size()}) {
        RawClient connection = client();
        connection.send(all.substr(0, cut));
        EXPECT_EQ(connection.receive().value().statusLine, "HTTP/1.1 " + statuses[0]) << cut;
        connection.send(all.substr(cut));
        for (std::size_t i = 1; i < statuses.size(); ++i) {
            const RawResponse response = connection.receive().value();
            EXPECT_EQ(response.statusLine, "HTTP/1.1 " + statuses[i]) << cut;
            if (!bodies[i].empty()) {
                EXPECT_EQ(response.body, bodies[i]) << cut;
            }
        }
    }
}

TEST_F(HTTPServerTest, EndsConnectionsWhenItShould) {
    start();
    // A request that asks for it, in any case; what follows it is not answered.
    for (const char* value : {"close", "CLOSE", " Close "}) {
        RawClient connection = client();
        connection.send("GET /health x\r\nConnection:" + std::string(value) + "\r\n\r\n" + health);
        EXPECT_EQ(connection.receive().value().statusLine, "HTTP/1.1 200 OK");
        EXPECT_EQ(connection.receiveRest(), "") << value;
    }
    // An invalid head, one that is too long, and a peer that finishes within a request: without an answer.
    for (const std::string& bytes :
         {std::string("GET\r\n\r\n"), std::string("GET /\xFF x\r\n\r\n"), std::string("GET /heal"),
          std::string("P /\r\nContent-Length: -4\r\n\r\n"), std::string(1'200'000, 'x')}) {
        RawClient connection = client();
        try {
            connection.send(bytes);
            if (bytes == "GET /heal") connection.finishSending();
        } catch (const std::system_error&) {
            // The server may have closed before all was sent.
        }
        EXPECT_EQ(connection.receiveRest(), "") << bytes.substr(0, 40);
    }
}

TEST_F(HTTPServerTest, ReadsOffTheBodyOfACallerWithoutTheToken) {
    std::atomic<int> calls = 0;
    server.registerRoute("POST", "/count", [&](HTTPRequest request) -> Task<HTTPResponse> {
        ++calls;
        return echo(std::move(request));
    });
    start();
    RawClient connection = client();
    connection.send("POST /count x\r\nContent-Length: 3000000\r\n\r\n");
    connection.send(std::string(2'999'999, 'x'));
    EXPECT_TRUE(connection.isQuiet());
    EXPECT_EQ(connection.request("x").statusLine, "HTTP/1.1 401 Unauthorized");
    EXPECT_EQ(connection.request(health).statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(calls, 0);
}

TEST_F(HTTPServerTest, InvitesTheBodyOfAClientThatWaitsWithIt) {
    start();
    const std::string rest = "Expect: 100-continue\r\nContent-Length: 4\r\n\r\n";
    const std::string withToken = "POST /echo x\r\nx-varkel-token: " + std::string(token) + "\r\n" + rest;
    RawClient connection = client();
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(connection.request(withToken).statusLine, "HTTP/1.1 100 Continue");
        EXPECT_EQ(connection.request("body").body, "body");
        EXPECT_EQ(connection.request(withToken + "body").body, "body") << "it does not wait";
    }
    RawClient other = client();
    for (RawClient* refused : {&connection, &other}) {
        refused->send("POST /echo x\r\n" + rest);
        EXPECT_TRUE(refused->isQuiet());
        EXPECT_EQ(refused->request("body").statusLine, "HTTP/1.1 401 Unauthorized");
    }
}

TEST_F(HTTPServerTest, TellsAHandlerThatItsClientHasGone) {
    std::promise<bool> atFirst, later;
    server.registerRoute("POST", "/wait", [&](HTTPRequest request) -> Task<HTTPResponse> {
        auto wait = [&] {
            atFirst.set_value(request.client->hasGone());
            later.set_value(eventually([&] { return request.client->hasGone(); }));
        };
        co_await runBlocking(wait);
        co_return jsonTextResponse(200, std::string("late"));
    });
    start();
    {
        RawClient connection = client();
        connection.send(post("/wait", ""));
        EXPECT_FALSE(atFirst.get_future().get());
    }
    EXPECT_TRUE(later.get_future().get());
}

TEST_F(HTTPServerTest, AnswersHealthChecksWhileItsCallersKeepEveryThreadBusy) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    const auto entered = std::make_shared<std::atomic<int>>(0);
    server.registerRoute("POST", "/occupy", [entered, released](HTTPRequest) -> Task<HTTPResponse> {
        ++*entered;
        released.wait();
        co_return jsonTextResponse(200, std::string("late"));
    });
    start();
    std::vector<RawClient> callers = crowd(post("/occupy", ""));
    ASSERT_TRUE(eventually([&] { return *entered > 0; }));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(client().request(health).statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(client().request("POST /occupy x\r\n\r\n").statusLine, "HTTP/1.1 401 Unauthorized");
    release.set_value();
    for (RawClient& caller : callers) EXPECT_EQ(caller.receive().value().body, "late");
}

TEST_F(HTTPServerTest, AnswersPipelinedRequestsInOrderWhileOthersDoNotReadTheirAnswers) {
    const auto large = std::make_shared<const std::string>(30'000'000, 'x');
    server.registerRoute("POST", "/large",
                         [&](HTTPRequest) -> Task<HTTPResponse> { co_return jsonTextResponse(200, large); });
    start();
    std::vector<RawClient> unread = crowd(post("/large", ""));
    RawClient connection = client();
    std::string requests;
    for (int i = 0; i < 200; ++i) requests += post("/echo", std::to_string(i)) + health;
    connection.send(requests);
    connection.finishSending();
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(connection.receive().value().body, std::to_string(i));
        EXPECT_EQ(connection.receive().value().body, R"({"ok":true,"version":"0.2.0"})");
    }
    EXPECT_EQ(connection.receiveRest(), "");
    for (RawClient& late : unread) EXPECT_EQ(late.receive().value().body, *large);
}

TEST_F(HTTPServerTest, StaysUpWithoutAPort) {
    start();
    boost::asio::io_context other(1);
    HTTPServer second(server.listeningPort(), token);
    std::atomic<bool> returned = false;
    boost::asio::co_spawn(other, second.start(), [&](const std::exception_ptr& error) {
        EXPECT_FALSE(error);
        returned = true;
    });
    testing::internal::CaptureStdout();
    other.poll();
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::StartsWith("Server failed: "));
    EXPECT_EQ(second.listeningPort(), 0);
    EXPECT_FALSE(returned);
    second.cancel();
    other.run();
    EXPECT_TRUE(returned);
}

}  // namespace
}  // namespace varkel::test
