#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "http/HTTPServer.h"
#include "routes/Routes.h"
#include "support/AgentServer.h"
#include "support/FakeDesktop.h"
#include "support/ScriptedOverlay.h"
#include "support/TemporaryHome.h"

namespace varkel {
namespace {

using test::FakeDesktop;
using test::ScriptedOverlay;
using test::statusReply;

class RouteTable : public testing::Test {
  protected:
    RouteTable() {
        desktop.frontmost = 1;
        desktop.addApplication(1, "Front");
    }

    void start(const std::optional<OverlayClient>& overlay) { agent.emplace(overlay); }

    std::string post(const std::string& path, const std::string& body) {
        const auto response = agent->send("POST", path, body);
        return std::to_string(response.status()) + " " + response.body;
    }

    FakeDesktop desktop;
    test::TemporaryHome home;
    std::optional<test::AgentServer> agent;
};

TEST_F(RouteTable, HasFifteenEntriesInOrder) {
    HTTPServer server(0, "token");
    registerRoutes(server, std::nullopt);
    EXPECT_EQ(server.registeredRoutes(),
              (std::vector<std::string>{"GET /health", "POST /ax/tree", "POST /ax/find", "POST /ax/click",
                                        "POST /ax/type", "POST /ax/scroll", "POST /keystrokes",
                                        "POST /ax/tree_and_ocr", "POST /batch/begin", "POST /batch/end",
                                        "POST /ocr", "GET /shortcut/list", "POST /shortcut",
                                        "POST /applescript/run", "POST /visual/find"}));
}

const std::string plain = R"(400 {"error":"bad_request"})";
const std::string invalid = R"(400 {"error":"bad_request","message":"Invalid JSON body"})";
/// What the decoder says stands behind this.
const std::string told = R"(400 {"error":"bad_request","message":")";

TEST_F(RouteTable, AnswersMalformedBodiesRouteByRoute) {
    start(std::nullopt);
    const struct {
        const char* path;
        std::vector<const char*> bodies;
        std::string answer;
    } cases[] = {
        {"/ax/tree", {R"({"root_pid":"1"})", R"({"other":1.5})", R"([1])"}, plain},
        {"/ax/find", {R"({"role":1})", R"({"maxResults":"1"})", "[]"}, told},
        {"/ax/click", {"{}", R"({"elementId":7})"}, plain},
        {"/ax/type", {R"({"elementId":"a"})", R"({"elementId":"a","text":null})"}, plain},
        {"/ax/scroll", {R"({"elementId":"a"})", R"({"elementId":"a","direction":"up","amount":"1"})"}, plain},
        {"/keystrokes", {R"({"text":1})", R"({"keys":[1]})", R"({"text":"a","delay_ms":1.5})"}, told},
        {"/ax/tree_and_ocr", {R"({"root_pid":"1"})", R"({"windowId":-1})"}, told},
        {"/ocr", {R"({"imageBase64":1})", R"({"windowId":1.5})"}, invalid},
        {"/shortcut",
         {"{}", R"({"name":1})", R"({"name":"a","input":5})", R"({"name":"a","timeoutMs":1.5})"},
         invalid},
        {"/applescript/run", {"{}", R"({"script":1})", R"({"script":null})"}, invalid},
        {"/visual/find", {"{}", R"({"query":1})"}, invalid},
    };
    for (const auto& [path, bodies, answer] : cases) {
        std::vector<const char*> all{"", "{", "null", "\"text\"", "\xFF", "{} {}"};
        all.insert(all.end(), bodies.begin(), bodies.end());
        for (const char* body : all) {
            EXPECT_THAT(post(path, body), testing::StartsWith(answer)) << path << " " << body;
        }
    }
    EXPECT_TRUE(desktop.done().empty());
}

TEST_F(RouteTable, AsksBeforeEverythingThatChangesSomething) {
    ScriptedOverlay overlay([](int) { return statusReply(423); });
    start(home.clientOf(overlay));
    const struct {
        const char* path;
        const char* body;
        boost::json::object prompt;
    } cases[] = {
        {"/ax/click", R"({"elementId":"a1"})", {{"action", "click"}, {"target", "a1"}}},
        {"/ax/type", R"({"elementId":"a2","text":"x"})", {{"action", "type"}, {"target", "a2"}}},
        {"/ax/scroll", R"({"elementId":"a3","direction":"?"})", {{"action", "scroll"}, {"target", "a3"}}},
        // These two do not look at the body before the person has agreed.
        {"/keystrokes", "not JSON", {{"action", "send_keystrokes"}}},
        {"/applescript/run", "not JSON", {{"action", "run_applescript"}, {"target", "System"}}},
        {"/shortcut", R"({"name":"Café"})", {{"action", "run_shortcut"}, {"target", "Café"}}},
    };
    std::size_t asked = 0;
    for (const auto& [path, body, expected] : cases) {
        EXPECT_EQ(post(path, body), R"(403 {"error":"consent_denied"})") << path;
        const auto events = overlay.events();
        ASSERT_EQ(events.size(), ++asked) << path;
        boost::json::object prompt = boost::json::parse(events.back().body).as_object();
        EXPECT_EQ(prompt.at("type"), "destructivePrompt");
        prompt.erase("type");
        prompt.erase("id");
        EXPECT_EQ(prompt, expected) << path;
    }
    EXPECT_TRUE(desktop.done().empty());
}

TEST_F(RouteTable, AsksNobodyAboutAMalformedBodyOrWhatOnlyLooks) {
    ScriptedOverlay overlay([](int) { return statusReply(423); });
    start(home.clientOf(overlay));
    for (const char* path : {"/ax/click", "/ax/type", "/ax/scroll", "/shortcut"}) {
        EXPECT_THAT(post(path, "{}"), testing::StartsWith("400 ")) << path;
    }
    for (const char* path : {"/ax/tree", "/ax/find", "/batch/begin", "/batch/end"}) {
        EXPECT_THAT(post(path, "{}"), testing::StartsWith("200 ")) << path;
    }
    for (const char* path : {"/ocr", "/visual/find", "/ax/tree_and_ocr"}) post(path, "{}");
    EXPECT_TRUE(overlay.events().empty());
    EXPECT_TRUE(overlay.polls().empty());
}

TEST_F(RouteTable, GoesOnOnceThePersonAgrees) {
    ScriptedOverlay overlay([](int) { return statusReply(200); });
    start(home.clientOf(overlay));
    EXPECT_EQ(post("/ax/click", R"({"elementId":"a"})"), R"(404 {"error":"element_not_found"})");
    EXPECT_THAT(post("/keystrokes", "not JSON"), testing::StartsWith(told));
    EXPECT_EQ(post("/applescript/run", "not JSON"), invalid);
    EXPECT_EQ(overlay.polls().size(), 3U);
}

}  // namespace
}  // namespace varkel
