#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <future>
#include <mutex>

#include "overlay/AgentReader.h"
#include "overlay/ConsentServer.h"
#include "overlay/Discovery.h"
#include "routes/Consent.h"
#include "support/RawClient.h"
#include "support/RunTask.h"
#include "support/TemporaryHome.h"

namespace varkel::overlay {
namespace {

constexpr const char* path = "Library/Application Support/Quellan/Varkel/overlay.sock";
constexpr const char* id = "0123ABCD-0000-4000-8000-0123456789AB";

/// A service that keeps what it is told and decides by `decide`.
struct Recorded {
    ConsentHandler handler() {
        return {[this](AgentEvent event) {
                    const std::lock_guard lock(mutex);
                    events.push_back(std::move(event));
                },
                [this](const std::string& prompt, std::function<void(bool)> answer) {
                    decide(prompt, std::move(answer));
                },
                [this](const std::string& prompt) { left.set_value(prompt); }};
    }

    std::function<void(const std::string&, std::function<void(bool)>)> decide =
        [](const std::string&, const std::function<void(bool)>& answer) { answer(false); };
    std::mutex mutex;
    std::vector<AgentEvent> events;
    std::promise<std::string> left;
};

std::string request(const std::string& head, const std::string& body = "") {
    return head + "Connection: close\r\n" +
           (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" + body;
}

TEST(ConsentServer, AnswersTheAgentAlone) {
    Recorded service;
    ConsentServer server("secret", service.handler());
    const std::string token = "X-Overlay-Token: secret\r\n";
    const std::string consent = std::string("GET /consent/") + id;
    const struct {
        std::string bytes;
        const char* status;
    } cases[] = {
        {request("POST /event HTTP/1.1\r\n" + token, R"({"type":"other","new":[]})"), "200"},
        {request("POST /event HTTP/1.1\r\n" + token, R"({"type":3})"), "400"},
        {request("POST /event HTTP/1.1\r\n" + token, "[[[["), "400"},
        {request("POST /event HTTP/1.1\r\n", R"({"type":"other"})"), "401"},
        {request("POST /event HTTP/1.1\r\nX-Overlay-Token: secreT\r\n", R"({"type":"other"})"), "401"},
        {request("POST /event HTTP/1.1\r\n" + token, std::string(ConsentServer::longestEvent + 1, ' ')),
         "401"},
        {request(consent + " HTTP/1.1\r\n" + token), "423"},
        {request(consent + " HTTP/1.1\r\n"), "401"},
        {request("GET /consent/../x HTTP/1.1\r\n" + token), "404"},
        {request("GET /event HTTP/1.1\r\n" + token), "404"},
    };
    for (const auto& [bytes, status] : cases) {
        test::RawClient client(server.port());
        client.send(bytes);
        EXPECT_EQ(client.receiveRest().substr(9, 3), status) << bytes.substr(0, 100);
    }
    EXPECT_EQ(service.events.size(), 1U);
}

TEST(ConsentServer, NoticesThatTheAgentHasGone) {
    Recorded service;
    service.decide = [](const std::string&, const std::function<void(bool)>&) {};
    ConsentServer server("secret", service.handler());
    {
        test::RawClient client(server.port());
        client.send(request(std::string("GET /consent/") + id + " HTTP/1.1\r\nX-Overlay-Token: secret\r\n"));
    }
    auto left = service.left.get_future();
    ASSERT_EQ(left.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_EQ(left.get(), id);
}

TEST(ConsentServer, IsFoundByTheAgentAsLongAsItIsThere) {
    const test::TemporaryHome home;
    Recorded service;
    service.decide = [&](const std::string& prompt, const std::function<void(bool)>& answer) {
        answer(!service.events.empty() && prompt == service.events.back().id);
    };
    ConsentServer server("secret", service.handler());
    EXPECT_FALSE(Discovery::isServed(home.path().string()));
    {
        const Discovery discovery(home.path().string(), server.port(), "secret");
        EXPECT_EQ(test::modeOf(home / path), 0600U);
        EXPECT_TRUE(Discovery::isServed(home.path().string()));

        const auto client = OverlayClient::init(URLSession::shared(), home.path().string());
        ASSERT_TRUE(client && client->wantsDetails());
        const HTTPRequest click;
        DetailsOfAction details = []() -> Task<boost::json::object> {
            co_return boost::json::object{{"elementId", "e"}, {"text", "t"}};
        };
        EXPECT_FALSE(test::runTask(checkDestructiveConsent(click, client, "type", "e", details)));
        ASSERT_EQ(service.events.size(), 2U);
        EXPECT_EQ(service.events[0].type + *service.events[0].text, "actionDetailst");
        EXPECT_EQ(service.events[1].type + *service.events[1].target, "destructivePrompte");
    }
    EXPECT_FALSE(OverlayClient::init(URLSession::shared(), home.path().string())) << "the file has gone";

    home.write(path, R"({"port":)" + std::to_string(server.port()) + R"(,"token":"wrong"})");
    EXPECT_FALSE(Discovery::isServed(home.path().string())) << "what answers there is something else";
    {
        const Discovery older(home.path().string(), server.port(), "secret");
        home.write(path, R"({"port":1,"token":"another service's"})");
    }
    EXPECT_TRUE(OverlayClient::init(URLSession::shared(), home.path().string()))
        << "another one's file stays";
    EXPECT_NE(freshSecret(), freshSecret());
    EXPECT_EQ(freshSecret().size(), 64U);
}

TEST(AgentReader, SaysWhyItKnowsNothing) {
    const auto stateFor = [](std::uint16_t port, const std::string& token) {
        const AgentReader reader(port, [token] { return token; });
        return test::runTask(reader.look("e", std::nullopt)).state;
    };
    EXPECT_EQ(stateFor(1, ""), Target::State::noToken);
    EXPECT_EQ(stateFor(1, "a\r\nX-Other: b"), Target::State::noToken);
    EXPECT_EQ(stateFor(1, "token"), Target::State::noAnswer);
    Recorded service;
    ConsentServer other("secret", service.handler());  // one that refuses every token of the agent's kind
    EXPECT_EQ(stateFor(other.port(), "token"), Target::State::noToken);
}

}  // namespace
}  // namespace varkel::overlay
