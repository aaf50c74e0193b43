#include <gmock/gmock.h>

#include <boost/json.hpp>
#include <optional>
#include <string>

#include "routes/ActionDetails.h"
#include "support/AgentServer.h"
#include "support/FakeDesktop.h"
#include "support/ScriptedOverlay.h"
#include "support/TemporaryHome.h"

namespace varkel {
namespace {

using test::FakeDesktop;
using test::ScriptedOverlay;
using test::statusReply;

class Routes : public testing::Test {
  protected:
    Routes() {
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

TEST_F(Routes, AskBeforeEverythingThatChangesSomething) {
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

TEST_F(Routes, TellAServiceThatAsksForDetailsWhatIsAboutToHappen) {
    const std::string large(longestDetail - 1, 'x');
    const struct {
        const char* path;
        std::string body;
        boost::json::object details;
    } cases[] = {
        {"/ax/click", R"({"elementId":"a1","batch_id":"b"})", {{"elementId", "a1"}, {"batch_id", "b"}}},
        {"/ax/type", R"({"elementId":"a2","text":"To"})", {{"elementId", "a2"}, {"text", "To"}}},
        {"/ax/type",
         R"({"elementId":"a2","text":")" + large + "é\"}",
         {{"elementId", "a2"}, {"text", large}, {"shortened", true}}},
        {"/ax/scroll",
         R"({"elementId":"a3","direction":"up","amount":5})",
         {{"elementId", "a3"}, {"direction", "up"}, {"amount", 5}}},
        {"/keystrokes",
         R"({"text":"x","keys":["cmd+t"],"app_name":"Mail"})",
         {{"text", "x"}, {"keys", {"cmd+t"}}, {"app_name", "Mail"}}},
        {"/keystrokes", R"({"keys":["a",")" + large + "x\"]}", {{"keys", {"a"}}, {"shortened", true}}},
        {"/keystrokes", "not JSON", {{"malformed", true}}},
        {"/applescript/run", R"({"script":"beep"})", {{"script", "beep"}}},
        {"/shortcut", R"({"name":"Café","input":"x"})", {{"name", "Café"}, {"input", "x"}}},
    };
    ScriptedOverlay overlay([](int) { return statusReply(423); });
    boost::json::object discovery{{"port", overlay.port()}, {"token", home.secret}, {"details", true}};
    start(home.clientOf(boost::json::serialize(discovery)));
    for (std::size_t asked = 0; auto [path, body, expected] : cases) {
        EXPECT_EQ(post(path, body), R"(403 {"error":"consent_denied"})") << path;
        const auto events = overlay.events();
        ASSERT_EQ(events.size(), asked += 2) << path;
        const auto prompt = boost::json::parse(events.back().body).as_object();
        expected["type"] = "actionDetails";
        for (const char* key : {"id", "action"}) expected[key] = prompt.at(key);
        EXPECT_EQ(boost::json::parse(events[asked - 2].body).as_object(), expected) << path;
        EXPECT_EQ(prompt.at("type"), "destructivePrompt");
    }

    // Whatever else stands there asks for none.
    discovery["details"] = "true";
    const std::size_t before = overlay.events().size();
    start(home.clientOf(boost::json::serialize(discovery)));
    post("/ax/click", R"({"elementId":"a1"})");
    EXPECT_EQ(overlay.events().size(), before + 1);
}

TEST_F(Routes, AskNobodyAboutAMalformedBodyOrWhatOnlyLooksAndGoOnOnceThePersonAgrees) {
    ScriptedOverlay overlay([](int) { return statusReply(200); });
    start(home.clientOf(overlay));
    for (const char* path : {"/ax/click", "/ax/type", "/ax/scroll", "/shortcut"}) {
        EXPECT_THAT(post(path, "{}"), testing::StartsWith("400 ")) << path;
    }
    for (const char* path : {"/ax/tree", "/ax/find", "/batch/begin", "/batch/end", "/ocr", "/visual/find"})
        post(path, "{}");
    EXPECT_TRUE(overlay.events().empty());
    EXPECT_TRUE(overlay.polls().empty());
    EXPECT_EQ(post("/ax/click", R"({"elementId":"a"})"), R"(404 {"error":"element_not_found"})");
    EXPECT_THAT(post("/applescript/run", "not JSON"), testing::StartsWith("400 "));
    EXPECT_EQ(overlay.polls().size(), 2U);
}

}  // namespace
}  // namespace varkel
