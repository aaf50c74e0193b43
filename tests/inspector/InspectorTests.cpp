#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "http/JSONResponse.h"
#include "inspector/InspectorServer.h"
#include "inspector/Options.h"
#include "inspector/Session.h"
#include "support/RawClient.h"
#include "support/RunTask.h"
#include "support/RunningServer.h"

namespace varkel::inspector {
namespace {

using test::RawClient;
using test::RawResponse;
using testing::HasSubstr;
using testing::Not;

constexpr const char* token = "the agent's token";

Task<HTTPResponse> echo(HTTPRequest request) {
    HTTPResponse response = jsonTextResponse(200, std::move(request.body));
    response.setHeader("X-Varkel-Cache", "HIT");
    response.setHeader("X-Other", "for the program alone");
    co_return response;
}

/// Stands in for the agent on a free port.
class EchoingAgent {
  public:
    EchoingAgent() {
        for (const char* path : {"/ax/tree", "/ax/find", "/ocr", "/visual/find", "/applescript/run"}) {
            server_.registerRoute("POST", path, echo);
        }
        running_.emplace(server_);
    }

    std::uint16_t port() const { return server_.listeningPort(); }
    std::int64_t refused() const { return server_.getRejectionCount(); }

  private:
    HTTPServer server_{0, token};
    std::optional<test::RunningServer> running_;
};

class DrawnScreen : public Screen {
  public:
    ScreenImage capture(std::optional<ScreenArea> /*area*/) override {
        if (isGone) throw ScreenError("There is no screen.");
        return {{-4, 0, 2, 1}, {255, 0, 0, 0, 0, 255}};
    }

    std::atomic<bool> isGone = false;
};

class InspectorTest : public testing::Test {
  protected:
    InspectorTest() {
        if (server.listen(0)) throw std::runtime_error("the inspector does not listen");
        host = "127.0.0.1:" + std::to_string(server.port());
    }

    std::string key() const {
        const std::string address = server.address();
        return address.substr(address.find("/?key="));
    }

    RawResponse send(const std::string& method, const std::string& path, const std::string& headers,
                     const std::string& body = "") const {
        return RawClient(server.port()).request(test::requestText(method + ' ' + path, body, headers));
    }

    /// Brings the key and keeps what it was exchanged for.
    void enter() {
        const RawResponse response = send("GET", key(), hostLine());
        ASSERT_EQ(response.status(), 200);
        const std::string& set = response.headers.at("Set-Cookie");
        cookie = "Cookie: other=1; " + set.substr(0, set.find(';')) + "\r\n";
        base = set.substr(set.find("Path=") + 5);
        base.resize(base.find(';'));
    }

    std::string hostLine() const { return "Host: " + host + "\r\n"; }
    std::string ofPage() const { return hostLine() + "Origin: http://" + host + "\r\n" + cookie; }

    RawResponse post(const std::string& path, const std::string& body) const {
        return send("POST", base + path, ofPage(), body);
    }

    EchoingAgent agent;
    DrawnScreen screen;
    std::string knownToken = token;
    Relay relay{agent.port(), [this] { return knownToken; }};
    InspectorServer server{relay, screen};
    std::string host;
    std::string cookie;
    std::string base;
};

TEST_F(InspectorTest, LetsOneBrowserInWithEachKey) {
    const std::string first = key();
    EXPECT_EQ(send("GET", "/?key=" + std::string(64, '0'), hostLine()).status(), 403);
    const RawResponse entered = send("GET", first, hostLine());
    EXPECT_EQ(entered.status(), 200);
    EXPECT_THAT(entered.headers.at("Set-Cookie"), HasSubstr("; HttpOnly; SameSite=Strict"));
    EXPECT_THAT(entered.body, Not(HasSubstr(first)));
    EXPECT_EQ(send("GET", first, hostLine()).status(), 403);
    EXPECT_EQ(send("GET", key(), hostLine()).status(), 200);
}

TEST_F(InspectorTest, RefusesWhatIsNotItsOwnPage) {
    enter();
    const std::string own = "Origin: http://" + host + "\r\n";
    const std::string otherCookie = cookie.substr(0, cookie.size() - 4) + "00\r\n";
    const std::tuple<const char*, const char*, std::string, int> cases[] = {
        {"the page", "POST", hostLine() + own + cookie, 200},
        {"reading needs no origin", "GET", hostLine() + cookie, 200},
        {"no cookie", "POST", hostLine() + own, 401},
        {"no cookie, reading", "GET", hostLine(), 401},
        {"a wrong cookie", "POST", hostLine() + own + otherCookie, 401},
        {"a cookie of another name", "POST", hostLine() + own + "Cookie: x" + cookie.substr(17), 401},
        {"no origin", "POST", hostLine() + cookie, 403},
        {"another site", "POST", hostLine() + "Origin: http://attacker.example\r\n" + cookie, 403},
        {"another port", "POST", hostLine() + "Origin: http://127.0.0.1:1\r\n" + cookie, 403},
        {"an opaque origin", "POST", hostLine() + "Origin: null\r\n" + cookie, 403},
        {"another site, reading", "GET", hostLine() + "Origin: http://attacker.example\r\n" + cookie, 403},
        {"a rebound name", "POST", "Host: attacker.example:" + host.substr(10) + "\r\n" + own + cookie, 403},
        {"a rebound name, reading", "GET", "Host: attacker.example\r\n" + cookie, 403},
        {"no host", "GET", cookie, 403},
    };
    for (const auto& [name, method, headers, status] : cases) {
        SCOPED_TRACE(name);
        const bool reads = std::string_view(method) == "GET";
        const RawResponse response =
            send(method, base + (reads ? "" : "agent/ax/tree"), headers, reads ? "" : "{}");
        EXPECT_EQ(response.status(), status);
        EXPECT_THAT(response.body, Not(HasSubstr(token)));
    }
    EXPECT_EQ(agent.refused(), 0);
}

TEST_F(InspectorTest, ForbidsWhatComesFromElsewhere) {
    enter();
    for (const RawResponse& response : {send("GET", base, ofPage()), send("GET", "/", hostLine()),
                                        send("GET", key(), hostLine()), post("agent/ax/tree", "{}")}) {
        const std::string& policy = response.headers.at("Content-Security-Policy");
        EXPECT_THAT(policy, testing::StartsWith("default-src 'none'; script-src 'self';"));
        EXPECT_THAT(policy, HasSubstr("frame-ancestors 'none'"));
        EXPECT_THAT(policy, HasSubstr("require-trusted-types-for 'script'"));
        EXPECT_THAT(policy, Not(HasSubstr("unsafe")));
        EXPECT_EQ(response.headers.at("Referrer-Policy"), "no-referrer");
        EXPECT_EQ(response.headers.at("X-Content-Type-Options"), "nosniff");
        EXPECT_FALSE(response.headers.contains("Access-Control-Allow-Origin"));
    }
}

TEST_F(InspectorTest, HandsOnWhatThePageUsesAndNothingElse) {
    enter();
    const auto check = [&](const char* method, std::initializer_list<std::string> paths, int status) {
        for (const std::string& path : paths)
            EXPECT_EQ(send(method, path, ofPage(), "{}").status(), status) << method << ' ' << path;
    };
    check("GET", {base, base + "main.js", base + "about", base + "agent/health"}, 200);
    check("POST", {base + "agent/ax/tree", base + "agent/ax/find"}, 200);
    check("POST",
          {base + "agent/applescript/run", base + "agent/shortcut", base + "agent/ocr", "/agent/ax/tree",
           base + "agent/visual/find", base + "agent/ax/tree?x", base + "agent/../agent/ax/tree", "/ax/tree"},
          404);
    check("GET", {base + "agent/ax/tree", base + "../main.js"}, 404);
    const RawResponse answer = post("agent/ax/tree", R"({"root_pid":7})");
    EXPECT_EQ(answer.body, R"({"root_pid":7})");
    EXPECT_EQ(answer.headers.at("X-Varkel-Cache"), "HIT");
    EXPECT_FALSE(answer.headers.contains("x-other"));
}

TEST_F(InspectorTest, BoundsBodies) {
    enter();
    const std::string fits = '"' + std::string(longestBody - 2, 'a') + '"';
    EXPECT_EQ(post("agent/ax/tree", fits).body.size(), longestBody);
    EXPECT_EQ(post("agent/ax/tree", fits + ' ').status(), 413);
    // Without the cookie even a body that fits is thrown away.
    EXPECT_EQ(
        send("POST", base + "agent/ax/tree", hostLine() + "Origin: http://" + host + "\r\n", fits).status(),
        401);
}

TEST_F(InspectorTest, ShowsTheScreenAndHasItRecognised) {
    enter();
    EXPECT_EQ(post("screen/lines", "{}").status(), 400);
    const RawResponse image = post("screen", "{}");
    EXPECT_EQ(image.status(), 200);
    EXPECT_EQ(image.headers.at("X-Varkel-Area"), "-4 0 2 1");
    EXPECT_TRUE(image.body.starts_with("\x89PNG"));

    const RawResponse found = post("screen/find", R"({"query":"save","imagePath":"/etc/passwd"})");
    EXPECT_EQ(found.headers.at("X-Varkel-Area"), "-4 0 2 1");
    const auto sent = boost::json::parse(found.body).as_object();
    EXPECT_EQ(sent.at("query"), "save");
    EXPECT_TRUE(sent.contains("imageBase64"));
    EXPECT_FALSE(sent.contains("imagePath"));
    EXPECT_EQ(post("screen/lines", "[]").status(), 400);

    screen.isGone = true;
    const RawResponse none = post("screen", "{}");
    EXPECT_EQ(none.status(), 500);
    EXPECT_THAT(none.body, HasSubstr("There is no screen."));
}

TEST_F(InspectorTest, LooksForTheTokenAgainWhenTheAgentHasRefusedIt) {
    enter();
    knownToken = "an earlier token";
    EXPECT_EQ(post("agent/ax/tree", "{}").status(), 401);
    knownToken = token;
    EXPECT_EQ(post("agent/ax/tree", "{}").status(), 200);
}

TEST(InspectorRelay, SaysWhyThereIsNoAnswer) {
    boost::asio::io_context context(1);
    const auto ask = [&](std::uint16_t port, const char* secret) {
        Relay relay(port, [secret] { return secret; });
        return test::statusAndBody(
            test::runTask(relay.send("POST", "/ax/tree", "{}", std::chrono::seconds(1))));
    };
    Listener silent(context);
    ASSERT_FALSE(silent.listen(0));
    EXPECT_THAT(ask(silent.port(), token), HasSubstr("504 {\"error\":\"agent_timeout\""));
    const std::uint16_t port = silent.port();
    silent.close();
    EXPECT_THAT(ask(port, token), HasSubstr("502 {\"error\":\"agent_not_running\""));
    EXPECT_THAT(ask(port, ""), HasSubstr("502 {\"error\":\"no_token\""));
    EXPECT_THAT(ask(port, "two\r\nlines: x"), HasSubstr("502 {\"error\":\"no_token\""));
}

TEST(InspectorOptions, ReadsTheCommandLine) {
    const TokenSource defaults{"", "/token"};
    const std::vector<std::string> all{"--port",  "1", "--agent-port", "2",
                                       "--token", "t", "--token-file", "f"};
    const auto options = parseOptions(all, defaults);
    ASSERT_TRUE(options);
    EXPECT_EQ(std::tuple(options->port, options->agentPort, options->token, options->tokenFile),
              std::tuple(1, 2, "t", "f"));
    EXPECT_TRUE(options->opensBrowser);
    EXPECT_EQ(parseOptions({}, defaults)->tokenFile, "/token");
    const std::vector<std::vector<std::string>> faulty{
        {"--port"}, {"--port", "65536"}, {"--port", "x"}, {"--agent-port", "0"}, {"--other", "1"}, {"serve"}};
    for (const auto& each : faulty) EXPECT_FALSE(parseOptions(each, defaults)) << each.front();
}

}  // namespace
}  // namespace varkel::inspector
