#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "routes/ActionDetails.h"
#include "support/AgentServer.h"
#include "support/FakeDesktop.h"
#include "support/ScriptedOverlay.h"
#include "support/TemporaryHome.h"

namespace varkel::test {
namespace {

class Routes : public testing::Test {
  protected:
    Routes() {
        desktop.frontmost = 1;
        desktop.addApplication(1, "Front");
    }

    void start(const std::optional<OverlayClient>& overlay) { agent.emplace(overlay); }

    std::string post(const std::string& path, const std::string& body) {
        return agent->send("POST " + path, body).statusAndBody();
    }

    FakeDesktop desktop;
    TemporaryHome home;
    std::optional<AgentServer> agent;
};

TEST_F(Routes, AskBeforeEverythingThatChangesSomethingAndTellAServiceThatWantsItWhatThatIs) {
    const std::string large(longestDetail - 1, 'x');
    using Object = boost::json::object;
    const std::tuple<const char*, std::string, Object, Object> cases[] = {
        {"/ax/click",
         R"({"elementId":"a1","batch_id":"b"})",
         {{"action", "click"}, {"target", "a1"}},
         {{"elementId", "a1"}, {"batch_id", "b"}}},
        {"/ax/type",
         R"({"elementId":"a2","text":"To"})",
         {{"action", "type"}, {"target", "a2"}},
         {{"elementId", "a2"}, {"text", "To"}}},
        {"/ax/type",
         R"({"elementId":"a2","text":")" + large + "é\"}",
         {{"action", "type"}, {"target", "a2"}},
         {{"elementId", "a2"}, {"text", large}, {"shortened", true}}},
        {"/ax/scroll",
         R"({"elementId":"a3","direction":"?","amount":5})",
         {{"action", "scroll"}, {"target", "a3"}},
         {{"elementId", "a3"}, {"direction", "?"}, {"amount", 5}}},
        {"/keystrokes",
         R"({"text":"x","keys":["cmd+t"],"app_name":"Mail"})",
         {{"action", "send_keystrokes"}},
         {{"text", "x"}, {"keys", {"cmd+t"}}, {"app_name", "Mail"}}},
        {"/keystrokes",
         R"({"keys":["a",")" + large + "x\"]}",
         {{"action", "send_keystrokes"}},
         {{"keys", {"a"}}, {"shortened", true}}},
        // These two do not look at the body before the person has agreed.
        {"/keystrokes", "not JSON", {{"action", "send_keystrokes"}}, {{"malformed", true}}},
        {"/applescript/run",
         "not JSON",
         {{"action", "run_applescript"}, {"target", "System"}},
         {{"malformed", true}}},
        {"/applescript/run",
         R"({"script":"beep"})",
         {{"action", "run_applescript"}, {"target", "System"}},
         {{"script", "beep"}}},
        {"/shortcut",
         R"({"name":"Café","input":"x"})",
         {{"action", "run_shortcut"}, {"target", "Café"}},
         {{"name", "Café"}, {"input", "x"}}},
    };
    for (const boost::json::value& wants : {boost::json::value(true), boost::json::value("true")}) {
        // Whatever else stands there asks for no details.
        const std::size_t each = wants.is_bool() ? 2 : 1;
        ScriptedOverlay overlay([](int) { return statusReply(423); });
        const Object discovery{{"port", overlay.port()}, {"token", home.secret}, {"details", wants}};
        start(home.clientOf(boost::json::serialize(discovery)));
        for (std::size_t asked = 0; auto [path, body, prompt, details] : cases) {
            EXPECT_EQ(post(path, body), R"(403 {"error":"consent_denied"})") << path;
            const auto events = overlay.events();
            ASSERT_EQ(events.size(), asked += each) << path;
            const Object asks = boost::json::parse(events.back().body).as_object();
            prompt["type"] = "destructivePrompt";
            prompt["id"] = details["id"] = asks.at("id");
            EXPECT_EQ(asks, prompt) << path;
            details["type"] = "actionDetails";
            details["action"] = prompt["action"];
            EXPECT_TRUE(each == 1 || boost::json::parse(events[asked - 2].body) == details) << path;
        }
    }
    EXPECT_TRUE(desktop.done().empty());
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
}  // namespace varkel::test
