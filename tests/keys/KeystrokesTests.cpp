#include <gmock/gmock.h>

#include "keys/Keystrokes.h"
#include "platform/Platform.h"
#include "routes/JSONRoute.h"
#include "support/FakeDesktop.h"
#include "support/FakeToolPaths.h"
#include "support/RunTask.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

class Keystrokes : public testing::Test {
  protected:
    Keystrokes() {
        desktop.running = {"running", "com.apple.Terminal"};
        desktop.installed = {"installed"};
        Platform::current().toolPaths = std::make_unique<FakeToolPaths>("/no/such/tool");
    }

    /// The answer to a request; what is done for it is in the desktop's log alone.
    std::string answer(const std::string& body) {
        desktop.forgetDone();
        const Sleeper sleep = [this](std::chrono::nanoseconds duration) -> Task<void> {
            desktop.log("sleep " + std::to_string(duration.count() / 1000) + " us");
            co_return;
        };
        const RouteHandler handler = jsonRoute<SendKeystrokesRequest>(
            BadBody::reason, {},
            [&](SendKeystrokesRequest request) { return sendKeystrokes(std::move(request), sleep); });
        HTTPRequest request;
        request.body = body;
        return statusAndBody(runTask(handler(std::move(request))));
    }

    /// What was done, in one line; pauses only where they are asked for.
    std::string done(bool withPauses = false) {
        std::string all;
        for (const std::string& each : desktop.done()) {
            if (withPauses || !each.starts_with("sleep")) all += (all.empty() ? "" : ", ") + each;
        }
        return all;
    }

    /// A tool that writes its arguments and its input to files and does what the script says.
    void installTool(const std::string& script) {
        const std::string path = folder_.write(
            "osascript",
            "#!/bin/sh\ncd '" + folder_.path().string() + "'\nprintf '%s\\n' \"$@\" > arguments\n" + script,
            0700);
        Platform::current().toolPaths = std::make_unique<FakeToolPaths>(path);
    }

    std::string fileOfTool(const std::string& name) const { return contents(folder_ / name); }

    FakeDesktop desktop;
    TemporaryFolder folder_;
};

/// The answer to a request that was carried out.
std::string ok(const std::string& app, int chars, int keys, const std::string& method = "cgevent") {
    return R"(200 {"ok":true,"method":")" + method + R"(","app":")" + app + R"(","chars":)" +
           std::to_string(chars) + R"(,"keys":)" + std::to_string(keys) + "}";
}

TEST_F(Keystrokes, AreAnsweredAndArrive) {
    const std::string nothing = R"(400 {"error":"bad_request","message":"text or keys required"})";
    const auto noApp = [](const std::string& id) {
        return R"(404 {"error":"app_not_found","bundle_id":")" + id + R"("})";
    };
    const auto noTerminal = [](const std::string& id) {
        return R"(400 {"error":"unsupported_applescript_target","bundle_id":")" + id + R"("})";
    };
    const std::string family = " ud83d udc68 u200d ud83d udc69 u200d ud83d udc67";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {R"({"text":"hI"})", ok("", 2, 0),
         "announce hI, down 4, up 4, down 34 flags 20000, up 34 flags 20000, announcement ends"},
        // What has no key goes as its own units.
        {R"({"text":"é👨‍👩‍👧\r\n"})", ok("", 3, 0),
         "announce é👨‍👩‍👧\r\n, down 0 ue9, up 0 ue9, down 0" + family + ", up 0" + family +
             ", down 0 ud ua, up 0 ud ua, announcement ends"},
        {R"({"text":"a","keys":["cmd+t","Left"]})", ok("", 1, 2),
         "announce a, down 0, up 0, announcement ends, down 17 flags 100000, up 17 flags 100000, "
         "down 123, up 123"},
        {R"({"keys":["tab","cmd+nope","esc"]})", R"(400 {"error":"unknown_key","token":"cmd+nope"})",
         "down 48, up 48"},
        {"{}", nothing, ""},
        {R"({"text":"","keys":[]})", nothing, ""},
        {R"({"text":null,"keys":null})", nothing, ""},
        {R"({"text":"","app_bundle_id":"nowhere"})", nothing, ""},
        // The application first; an identifier counts before a name.
        {R"({"keys":["a"],"app_bundle_id":"running","app_name":"x"})", ok("running", 0, 1),
         "activate all windows, down 0, up 0"},
        {R"({"keys":["a"],"app_bundle_id":"installed"})", ok("installed", 0, 1),
         "launch /apps/installed in front, down 0, up 0"},
        {R"({"keys":["a"],"app_bundle_id":"","app_name":""})", ok("", 0, 1), "down 0, up 0"},
        {R"({"text":"a","app_bundle_id":"nowhere"})", noApp("nowhere"), ""},
        {R"({"text":"a","mode":"applescript"})", noTerminal(""), ""},
        {R"({"text":"a","mode":"applescript","app_bundle_id":"running"})", noTerminal("running"),
         "activate all windows"},
    };
    for (const auto& [body, answered, log] : cases) {
        EXPECT_EQ(answer(body), answered) << body;
        EXPECT_EQ(done(), log) << body;
    }
    desktop.launches = false;
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"installed"})"), noApp("installed"));
    desktop.launches = true;
    // A second instance would get what is meant for the first.
    desktop.tellsWhatRuns = false;
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"installed"})"), noApp("installed"));
    EXPECT_EQ(done(), "");
}

TEST_F(Keystrokes, KeepTheDelayInItsRange) {
    std::map<std::string, int> cases{{"-5", 500},   {"1", 500},     {"7", 3500},
                                     {"3.0", 1500}, {"null", 6000}, {"250", 125000}};
    cases["9223372036854775807"] = 125000;
    cases["-9223372036854775808"] = 500;
    for (const auto& [delay, half] : cases) {
        answer(R"({"keys":["a"],"app_bundle_id":"running","delay_ms":)" + delay + "}");
        const auto pause = [](int microseconds) { return "sleep " + std::to_string(microseconds) + " us"; };
        EXPECT_EQ(done(true), "activate all windows, sleep 250000 us, down 0, " + pause(half) + ", up 0, " +
                                  pause(2 * half));
    }
    // An event that cannot be made is passed over, and takes its time.
    desktop.broken = {{CGKeyCode{0}, true}};
    answer(R"({"keys":["a"],"delay_ms":2})");
    EXPECT_EQ(done(true), "sleep 1000 us, up 0, sleep 2000 us");
}

TEST_F(Keystrokes, ActivateByNameThroughTheScriptingToolAndGoOnWithoutIt) {
    const std::string body = R"({"keys":["a"],"app_name":"My \"App\"","delay_ms":2})";
    EXPECT_EQ(answer(body), ok("", 0, 1));
    EXPECT_EQ(desktop.done().front(), "down 0");
    installTool("exit 0");
    EXPECT_EQ(answer(body), ok("", 0, 1));
    EXPECT_EQ(fileOfTool("arguments"), "-e\ntell application \"My \"App\"\" to activate\n");
    EXPECT_EQ(desktop.done().front(), "sleep 250000 us");
    installTool("exit 1");
    EXPECT_EQ(answer(body), ok("", 0, 1));
}

TEST_F(Keystrokes, ChooseTheMethodByModeAndTarget) {
    const std::pair<std::string, std::string> cases[] = {
        {R"("text":"ls")", "applescript"},
        {R"("text":"ls","mode":"AUTO")", "applescript"},
        {R"("text":"ls","mode":"whatever")", "applescript"},
        {R"("text":"ls","mode":"CGEvent")", "cgevent"},
        {R"("keys":["cmd+t"])", "cgevent"},
        {R"("keys":["cmd+t"],"mode":"AppleScript")", "applescript"}};
    installTool("cat >/dev/null");
    for (const auto& [fields, method] : cases) {
        EXPECT_THAT(answer("{" + fields + R"(,"app_bundle_id":"com.apple.Terminal"})"),
                    testing::StartsWith(R"(200 {"ok":true,"method":")" + method))
            << fields;
    }
}

TEST_F(Keystrokes, HandATerminalItsWholeTextAndThenPressTheChordsThatTheyKnow) {
    installTool("cat > input");
    EXPECT_EQ(
        answer(R"({"text":"say \"é\\\"","keys":["nope","return"],"app_bundle_id":"com.apple.Terminal"})"),
        ok("com.apple.Terminal", 8, 2, "applescript"));
    EXPECT_EQ(fileOfTool("arguments"), "-\n");
    EXPECT_THAT(fileOfTool("input"), testing::HasSubstr(R"(    do script "say \"é\\\"" in front window)"));
    EXPECT_EQ(done(), "activate all windows, down 36, up 36");

    const std::string body = R"({"text":"a","app_bundle_id":"com.apple.Terminal"})";
    installTool("cat >/dev/null; echo out; printf '\\377' >&2; exit 1");
    EXPECT_EQ(answer(body), R"(500 {"error":"applescript_failed","stderr":"","stdout":"out\n"})");
    Platform::current().toolPaths = std::make_unique<FakeToolPaths>("/no/such/tool");
    EXPECT_EQ(answer(body),
              R"(500 {"error":"applescript_failed","stderr":"No such file or directory","stdout":""})");
}

}  // namespace
}  // namespace varkel::test
