#include <gmock/gmock.h>
#include <sys/resource.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/json.hpp>

#include "routes/Consent.h"
#include "support/RunTask.h"
#include "support/ScriptedOverlay.h"
#include "support/TemporaryHome.h"

namespace varkel {

namespace {

using test::OverlayReply;
using test::runTask;
using test::ScriptedOverlay;
using test::statusReply;
using Then = OverlayReply::Then;
using std::chrono::seconds;

constexpr const char* secret = test::TemporaryHome::secret;

class ConsentTest : public testing::Test {
  protected:
    /// The gate's answer; empty when it lets the action through.
    static std::string ask(const std::optional<OverlayClient>& client, const HTTPRequest& request = {}) {
        const auto refusal = runTask(checkDestructiveConsent(request, client, "click", "an id"));
        return refusal ? std::to_string(refusal->status) + " " + *refusal->body : "";
    }

    const test::TemporaryHome home{};
};

constexpr const char* refused = R"(403 {"error":"consent_denied"})";

TEST_F(ConsentTest, FindsTheServiceByItsFileAlone) {
    const ScriptedOverlay overlay([](int) { return statusReply(200); });
    const std::string port = std::to_string(overlay.port());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(OverlayClient::init(URLSession::shared(), home.path())) << "no file";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    const auto check = [&](const std::string& discovery, bool found, const char* answer) {
        testing::internal::CaptureStderr();
        const auto client = home.clientOf(discovery);
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(client.has_value(), found) << discovery.substr(0, 80);
        EXPECT_EQ(said.starts_with("No consent will be asked for"), !found) << said;
        EXPECT_EQ(ask(client), answer) << discovery.substr(0, 80);
    };
    check(R"({"port": )" + port + R"(.0, "token": "", "other": [[{}]]})", true, "");
    check("\xEF\xBB\xBF{\"port\": " + port + ", \"token\": \"t\"}" + std::string(2'000'000, ' '), true, "");
    // Nothing listens on a port that does not exist.
    check(R"({"port": 99999, "token": "t"})", true, refused);
    check(R"({"port": -1, "token": "t"})", true, refused);
    // A secret that would add headers is not sent.
    check(R"({"port": )" + port + R"(, "token": "a\r\nX-Other: b"})", true, refused);
    for (const char* text : {R"({"port": "1", "token": "t"})", R"({"port": 1.5, "token": "t"})",
                             R"({"port": 1})", R"({"port": 1, "token": 1})", R"([1, "t"])", ""}) {
        check(text, false, "");
    }
}

TEST_F(ConsentTest, TakesConsentThatTheCallerBringsWithTheSecretOnly) {
    ScriptedOverlay overlay([](int) { return statusReply(423); });
    const auto client = home.clientOf(overlay);
    using Header = std::pair<const std::string, std::string>;
    const Header granted{"x-varkel-mcp-consent", "granted"};
    const Header proof{"x-varkel-overlay-token", secret}, otherProof{"x-overlay-token", secret};
    const struct {
        decltype(HTTPRequest::headers) headers;
        bool passes;
    } cases[] = {{{granted, proof}, true},
                 {{granted, otherProof}, true},
                 {{granted, {"x-varkel-overlay-token", "wrong"}, otherProof}, false},
                 {{granted, {"x-varkel-overlay-token", ""}, otherProof}, false},
                 {{granted, {"x-overlay-token", "overlay secreT"}}, false},
                 {{granted}, false},
                 {{{"x-varkel-mcp-consent", "Granted"}, proof}, false},
                 {{proof}, false},
                 {{}, false}};
    std::size_t prompts = 0;
    for (const auto& [headers, passes] : cases) {
        HTTPRequest request;
        request.headers = headers;
        EXPECT_EQ(ask(client, request), passes ? "" : refused) << testing::PrintToString(headers);
        prompts += passes ? 0 : 1;
        EXPECT_EQ(overlay.events().size(), prompts);
        EXPECT_EQ(ask(std::nullopt, request), "") << "without a service the person is not asked";
    }
}

TEST_F(ConsentTest, DecidesByThePollsStatus) {
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n";
    const std::string large(std::size_t{8} << 20, 'x');
    const auto then404 = [](int status) {
        return [status](int number) { return statusReply(number < 3 ? 404 : status); };
    };
    const auto always = [](const OverlayReply& reply) { return [reply](int) { return reply; }; };
    const struct {
        const char* name;
        std::function<OverlayReply(int)> poll;
        bool granted;
    } cases[] = {
        {"at once", always(statusReply(200)), true},
        {"late", always(statusReply(200, [looks = 0]() mutable { return ++looks > 50; })), true},
        {"denied after others", then404(423), false},
        {"denied", always(statusReply(423)), false},
        {"redirected", [](int number) { return statusReply(number < 2 ? 302 : 423); }, false},
        {"announced", always({"HTTP/1.1 103 Early\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"}),
         true},
        {"without a length", always({"HTTP/1.1 200 OK\r\n\r\n" + large}), true},
        {"an older version", always({"HTTP/1.0 200 OK\n\n"}), true},
        {"half a head", always({"HTTP/1.1 200 OK\r\nContent"}), true},
        {"half a body", always({head}), true},
        {"an endless head", always({"HTTP/1.1 200 OK\r\nX: " + large}), true},
        {"hanging in the body", always({head, Then::hang}), true},
        {"trickling in the head", always({"HTTP/1.1 200 OK\r\nX: ", Then::trickle}), true},
        {"closed", always({""}), false},
        {"not HTTP", always({"granted, or so it seems\r\n\r\n"}), false},
        {"hanging", always({"", Then::hang}), false},
    };
    for (const auto& [name, poll, granted] : cases) {
        const ScriptedOverlay overlay(poll);
        // The limit of the case that cannot end otherwise; far longer than what the others need.
        const URLSession session{std::string_view(name) == "hanging" ? seconds(1) : seconds(20)};
        EXPECT_EQ(ask(home.clientOf(overlay, session)), granted ? "" : refused) << name;
    }
}

TEST_F(ConsentTest, GivesUpWhenNobodyDecidesWithinTwoSeconds) {
    ScriptedOverlay overlay([](int) { return statusReply(404); });
    const auto client = home.clientOf(overlay);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(ask(client), refused);
    EXPECT_GE(std::chrono::steady_clock::now() - began, seconds(2));
    EXPECT_LE(overlay.polls().size(), 20U);
    EXPECT_GE(overlay.polls().size(), 2U);
}

TEST_F(ConsentTest, SendsThePromptFirstAndPollsForThatPrompt) {
    ScriptedOverlay overlay([](int) { return statusReply(200); }, {"not HTTP", Then::close});
    const auto client = home.clientOf(overlay);
    EXPECT_EQ(ask(client), "") << "what the event is answered with does not matter";
    HTTPRequest request;
    runTask(checkDestructiveConsent(request, client, "send_keystrokes", std::nullopt));

    const auto events = overlay.events();
    const auto polls = overlay.polls();
    ASSERT_EQ(events.size(), 2U);
    ASSERT_EQ(polls.size(), 2U);
    for (const auto& [head, body] : events) {
        EXPECT_THAT(head, testing::StartsWith("POST /event HTTP/1.1\r\n"));
        EXPECT_THAT(head, testing::HasSubstr("\r\nContent-Type: application/json\r\n"));
        EXPECT_THAT(head, testing::HasSubstr("\r\nX-Overlay-Token: overlay secret\r\n"));
        EXPECT_THAT(head,
                    testing::HasSubstr("\r\nHost: 127.0.0.1:" + std::to_string(overlay.port()) + "\r\n"));
    }
    // What the prompts say is told with the routes that bring them up.
    const auto idOf = [&](std::size_t at) {
        return std::string(boost::json::parse(events[at].body).at("id").as_string());
    };
    EXPECT_NE(idOf(0), idOf(1));
    EXPECT_THAT(idOf(0),
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[0-9A-F]{4}-[0-9A-F]{12}"));
    EXPECT_THAT(polls[0].head, testing::StartsWith("GET /consent/" + idOf(0) + " HTTP/1.1\r\n"));
    EXPECT_THAT(polls[0].head, testing::HasSubstr("\r\nX-Overlay-Token: overlay secret\r\n"));
    EXPECT_EQ(polls[0].body, "");
}

TEST_F(ConsentTest, HoldsNoThreadWhileHundredsOfPromptsWait) {
    constexpr int prompts = 500;
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = std::min<rlim_t>(descriptors.rlim_max, 4'096);
    setrlimit(RLIMIT_NOFILE, &descriptors);

    // No decision comes before all the prompts have been shown.
    std::atomic<int> waiting = 0;
    const ScriptedOverlay overlay([&](int) {
        ++waiting;
        return statusReply(200, [&] { return waiting == prompts; });
    });
    const auto client = home.clientOf(overlay);
    HTTPRequest request;
    int passed = 0;
    boost::asio::io_context context;
    for (int i = 0; i < prompts; ++i) {
        auto atEnd = [&](const std::exception_ptr&, const std::optional<HTTPResponse>& refusal) {
            passed += refusal ? 0 : 1;
        };
        boost::asio::co_spawn(context, checkDestructiveConsent(request, client, "click", "id"), atEnd);
    }
    context.run();
    EXPECT_EQ(passed, prompts) << "all of them on one thread";
}

}  // namespace
}  // namespace varkel
