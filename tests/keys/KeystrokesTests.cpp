#include <gmock/gmock.h>

#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>

#include "keys/Keystrokes.h"
#include "platform/Platform.h"
#include "routes/JSONRoute.h"
#include "support/FakeDesktop.h"
#include "support/FakeToolPaths.h"
#include "support/RunTask.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

namespace json = boost::json;
using testing::ElementsAre;
using testing::ElementsAreArray;

std::string member(const HTTPResponse& response, std::string_view key) {
    return json::value_to<std::string>(json::parse(*response.body).as_object().at(key));
}

class Keystrokes : public testing::Test {
  protected:
    Keystrokes() {
        desktop.running = {"running", "com.apple.Terminal"};
        desktop.installed = {"installed"};
        Platform::current().toolPaths = std::make_unique<test::FakeToolPaths>("/no/such/tool");
    }

    HTTPResponse send(const std::string& body) {
        const Sleeper sleep = [this](std::chrono::nanoseconds duration) -> Task<void> {
            desktop.log("sleep " + std::to_string(duration.count() / 1000) + " us");
            co_return;
        };
        const auto route = jsonRoute<SendKeystrokesRequest>(
            BadBody::reason, {},
            [&](SendKeystrokesRequest request) { return sendKeystrokes(std::move(request), sleep); });
        HTTPRequest request;
        request.body = body;
        return test::runTask(route(std::move(request)));
    }

    std::string answer(const std::string& body) { return test::statusAndBody(send(body)); }

    /// What was posted, without the pauses.
    std::vector<std::string> keyLines() {
        auto lines = desktop.done();
        std::erase_if(lines,
                      [](const auto& line) { return !line.starts_with("down") && !line.starts_with("up"); });
        return lines;
    }

    /// A tool that writes its arguments and its input to files and does what the script says.
    void installTool(const std::string& script) {
        const std::string path = folder_.write(
            "osascript",
            "#!/bin/sh\ncd '" + folder_.path().string() + "'\nprintf '%s\\n' \"$@\" > arguments\n" + script,
            0700);
        Platform::current().toolPaths = std::make_unique<test::FakeToolPaths>(path);
    }

    std::string fileOfTool(const std::string& name) const { return test::contents(folder_ / name); }

    test::FakeDesktop desktop;
    test::TemporaryFolder folder_;
};

TEST_F(Keystrokes, TypesCharactersOneAfterAnotherAtThePaceAskedFor) {
    EXPECT_EQ(answer(R"({"text":"hI"})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":2,"keys":0})");
    EXPECT_THAT(desktop.done(), ElementsAre("announce hI", "down 4", "sleep 6000 us", "up 4",
                                            "sleep 12000 us", "down 34 flags 20000", "sleep 6000 us",
                                            "up 34 flags 20000", "sleep 12000 us", "announcement ends"));
}

TEST_F(Keystrokes, KeepsTheDelayInItsRange) {
    const std::pair<std::string, std::string> cases[] = {{"-5", "500"},
                                                         {"1", "500"},
                                                         {"7", "3500"},
                                                         {"3.0", "1500"},
                                                         {"null", "6000"},
                                                         {"250", "125000"},
                                                         {"1000", "125000"},
                                                         {"9223372036854775807", "125000"},
                                                         {"-9223372036854775808", "500"}};
    for (const auto& [delay, microseconds] : cases) {
        desktop.forgetDone();
        EXPECT_EQ(send(R"({"text":"a","delay_ms":)" + delay + "}").status, 200);
        ASSERT_GE(desktop.done().size(), 3U) << delay;
        EXPECT_EQ(desktop.done()[2], "sleep " + microseconds + " us") << delay;
    }
}

TEST_F(Keystrokes, SendsWhatHasNoKeyAsItsOwnUnits) {
    EXPECT_EQ(answer(R"({"text":"é👨‍👩‍👧\r\n","delay_ms":2})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":3,"keys":0})");
    const std::string family = " ud83d udc68 u200d ud83d udc69 u200d ud83d udc67";
    EXPECT_THAT(keyLines(), ElementsAre("down 0 ue9", "up 0 ue9", "down 0" + family, "up 0" + family,
                                        "down 0 ud ua", "up 0 ud ua"));
}

TEST_F(Keystrokes, PressesChordsAfterTheText) {
    EXPECT_EQ(answer(R"({"text":"a","keys":["cmd+t","Left"],"delay_ms":2})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":1,"keys":2})");
    EXPECT_THAT(keyLines(), ElementsAre("down 0", "up 0", "down 17 flags 100000", "up 17 flags 100000",
                                        "down 123", "up 123"));
}

TEST_F(Keystrokes, StopsAtAChordThatNamesNoKey) {
    EXPECT_EQ(answer(R"({"text":"x","keys":["tab","cmd+nope","esc"],"delay_ms":2})"),
              R"(400 {"error":"unknown_key","token":"cmd+nope"})");
    EXPECT_THAT(keyLines(), ElementsAre("down 7", "up 7", "down 48", "up 48"));
}

TEST_F(Keystrokes, PassesOverAnEventThatCannotBeMadeAndStillWaits) {
    desktop.broken = {{CGKeyCode{0}, true}, {CGKeyCode{11}, false}};
    EXPECT_EQ(send(R"({"text":"abé","delay_ms":2})").status, 200);
    EXPECT_THAT(desktop.done(), ElementsAre("announce abé", "sleep 1000 us", "up 0", "sleep 2000 us",
                                            "down 11", "sleep 1000 us", "sleep 2000 us", "sleep 1000 us",
                                            "up 0 ue9", "sleep 2000 us", "announcement ends"));
}

TEST_F(Keystrokes, RefusesBodiesWithNothingToSend) {
    const std::string nothing = R"(400 {"error":"bad_request","message":"text or keys required"})";
    for (const char* body : {"{}", R"({"text":""})", R"({"keys":[]})", R"({"text":null,"keys":null})",
                             R"({"app_bundle_id":"nowhere","text":""})", R"({"unknown":1})"}) {
        EXPECT_EQ(answer(body), nothing) << body;
    }
    EXPECT_TRUE(desktop.done().empty());
}

TEST_F(Keystrokes, BringsTheApplicationToTheFrontFirst) {
    const struct {
        std::string fields;
        std::vector<std::string> before;
        std::string app;
    } cases[] = {
        {R"("app_bundle_id":"running")", {"activate all windows", "sleep 250000 us"}, "running"},
        {R"("app_bundle_id":"running","app_name":"x")",
         {"activate all windows", "sleep 250000 us"},
         "running"},
        {R"("app_bundle_id":"installed")", {"launch /apps/installed in front"}, "installed"},
        {R"("app_bundle_id":"")", {}, ""},
        {R"("app_name":"")", {}, ""},
    };
    for (const auto& each : cases) {
        desktop.forgetDone();
        const HTTPResponse response = send("{" + each.fields + R"(,"keys":["a"],"delay_ms":2})");
        EXPECT_EQ(response.status, 200) << each.fields;
        EXPECT_EQ(member(response, "app"), each.app) << each.fields;
        auto expected = each.before;
        expected.insert(expected.end(), {"down 0", "sleep 1000 us", "up 0", "sleep 2000 us"});
        EXPECT_THAT(desktop.done(), ElementsAreArray(expected)) << each.fields;
    }
}

TEST_F(Keystrokes, TypesNothingWhenTheApplicationIsNotThere) {
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"nowhere"})"),
              R"(404 {"error":"app_not_found","bundle_id":"nowhere"})");
    desktop.launches = false;
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"installed"})"),
              R"(404 {"error":"app_not_found","bundle_id":"installed"})");
    EXPECT_THAT(desktop.done(), ElementsAre("launch /apps/installed in front"));

    // A desktop that does not say what runs: a second instance would get what is meant for the first.
    desktop.forgetDone();
    desktop.launches = true;
    desktop.tellsWhatRuns = false;
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"installed"})"),
              R"(404 {"error":"app_not_found","bundle_id":"installed"})");
    EXPECT_THAT(desktop.done(), ElementsAre());
}

TEST_F(Keystrokes, DoesNotAskWhetherARunningApplicationCameToTheFront) {
    desktop.activates = false;
    EXPECT_EQ(send(R"({"text":"a","app_bundle_id":"running"})").status, 200);
}

TEST_F(Keystrokes, ActivatesByNameThroughTheScriptingTool) {
    installTool("exit 0");
    EXPECT_EQ(answer(R"({"keys":["a"],"app_name":"My \"App\"","delay_ms":2})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":0,"keys":1})");
    EXPECT_EQ(fileOfTool("arguments"), "-e\ntell application \"My \"App\"\" to activate\n");
    EXPECT_EQ(desktop.done().front(), "sleep 250000 us");
}

TEST_F(Keystrokes, GoesOnWhenActivationByNameFails) {
    EXPECT_EQ(send(R"({"keys":["a"],"app_name":"x","delay_ms":2})").status, 200);
    EXPECT_EQ(desktop.done().front(), "down 0");
    installTool("exit 1");
    EXPECT_EQ(send(R"({"keys":["a"],"app_name":"x","delay_ms":2})").status, 200);
}

TEST_F(Keystrokes, ChoosesTheMethodByModeAndTarget) {
    const struct {
        std::string fields;
        std::string method;
    } cases[] = {
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal")", "applescript"},
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal","mode":"AUTO")", "applescript"},
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal","mode":"whatever")", "applescript"},
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal","mode":"CGEvent")", "cgevent"},
        {R"("keys":["cmd+t"],"app_bundle_id":"com.apple.Terminal")", "cgevent"},
        {R"("keys":["cmd+t"],"app_bundle_id":"com.apple.Terminal","mode":"AppleScript")", "applescript"},
        {R"("text":"ls","app_bundle_id":"running")", "cgevent"},
    };
    installTool("cat >/dev/null");
    for (const auto& each : cases) {
        const HTTPResponse response = send("{" + each.fields + "}");
        EXPECT_EQ(response.status, 200) << each.fields;
        EXPECT_EQ(member(response, "method"), each.method) << each.fields;
    }
}

TEST_F(Keystrokes, HandsATerminalItsWholeTextAndThenPressesTheChordsItKnows) {
    installTool("cat > input");
    EXPECT_EQ(answer(R"({"text":"say \"é\\\"","keys":["nope","return"],"app_bundle_id":"com.apple.Terminal",)"
                     R"("delay_ms":2})"),
              R"(200 {"ok":true,"method":"applescript","app":"com.apple.Terminal","chars":8,"keys":2})");
    EXPECT_EQ(fileOfTool("arguments"), "-\n");
    EXPECT_THAT(fileOfTool("input"), testing::HasSubstr(R"(    do script "say \"é\\\"" in front window)"));
    EXPECT_THAT(desktop.done(), ElementsAre("activate all windows", "sleep 250000 us", "down 36",
                                            "sleep 1000 us", "up 36", "sleep 2000 us"));
}

TEST_F(Keystrokes, ReportsAScriptThatFailsWithItsOutputsUntrimmed) {
    installTool("cat >/dev/null; echo out; printf '\\377' >&2; exit 1");
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"com.apple.Terminal"})"),
              R"(500 {"error":"applescript_failed","stderr":"","stdout":"out\n"})");
    Platform::current().toolPaths = std::make_unique<test::FakeToolPaths>("/no/such/tool");
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"com.apple.Terminal"})"),
              R"(500 {"error":"applescript_failed","stderr":"No such file or directory","stdout":""})");
}

TEST_F(Keystrokes, RefusesTheScriptMethodForWhatIsNoTerminal) {
    EXPECT_EQ(answer(R"({"text":"a","mode":"applescript"})"),
              R"(400 {"error":"unsupported_applescript_target","bundle_id":""})");
    EXPECT_EQ(answer(R"({"text":"a","mode":"applescript","app_bundle_id":"running"})"),
              R"(400 {"error":"unsupported_applescript_target","bundle_id":"running"})");
}

}  // namespace
}  // namespace varkel
