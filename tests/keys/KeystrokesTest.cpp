#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "http/BlockingPool.h"
#include "keys/Keystrokes.h"
#include "platform/Platform.h"

namespace varkel {
namespace {

namespace json = boost::json;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::ElementsAreArray;

/// Everything that happens during a request, in order, as lines of text.
struct Journal {
    std::mutex mutex;
    std::vector<std::string> lines;

    void add(const std::string& line) {
        const std::lock_guard lock(mutex);
        lines.push_back(line);
    }
};

std::string describe(const CGEvent& event) {
    std::ostringstream out;
    out << (event.type == CGEventType::keyDown ? "down " : "up ") << event.keyCode;
    if (event.flags != 0) out << " flags " << std::hex << event.flags;
    for (const char16_t unit : event.unicodeString) out << " u" << std::hex << static_cast<unsigned>(unit);
    return out.str();
}

std::string member(const HTTPResponse& response, std::string_view key) {
    return json::value_to<std::string>(json::parse(*response.body).as_object().at(key));
}

class JournalPoster : public EventPoster {
  public:
    explicit JournalPoster(Journal& journal) : journal_(journal) {}

    /// Key codes that no event can be made for.
    std::vector<std::pair<CGKeyCode, bool>> broken;

    std::optional<CGEvent> CGEventCreateKeyboardEvent(CGKeyCode keyCode, bool keyDown) override {
        if (std::ranges::find(broken, std::pair(keyCode, keyDown)) != broken.end()) return std::nullopt;
        return EventPoster::CGEventCreateKeyboardEvent(keyCode, keyDown);
    }

    void CGEventPost(const CGEvent& event) override { journal_.add(describe(event)); }

    std::unique_ptr<TextAnnouncement> announceText(std::string_view text) override {
        journal_.add("announce " + std::string(text));
        struct Announcement : TextAnnouncement {
            explicit Announcement(Journal& journal) : journal_(journal) {}
            ~Announcement() override { journal_.add("announcement ends"); }
            Journal& journal_;
        };
        return std::make_unique<Announcement>(journal_);
    }

  private:
    Journal& journal_;
};

/// A desktop with one running and one installed application.
class JournalWorkspace : public Workspace {
  public:
    explicit JournalWorkspace(Journal& journal) : journal_(journal) {}

    bool activates = true;
    bool launches = true;

    ThreadRule threadRule() const override { return ThreadRule::any; }
    std::optional<pid_t> frontmostApplication() override { return std::nullopt; }

    std::vector<RunningApplicationRef> runningApplicationsWithBundleIdentifier(
        const std::string& id) override {
        if (id != "running" && id != "com.apple.Terminal") return {};
        return {std::make_shared<Instance>(), std::make_shared<Instance>()};
    }
    bool activateWithOptions(const RunningApplicationRef&, ActivationOptions options) override {
        journal_.add(options == ActivationOptions::activateAllWindows ? "activate all windows" : "activate");
        return activates;
    }
    std::optional<std::string> URLForApplicationWithBundleIdentifier(const std::string& id) override {
        return id == "installed" ? std::optional<std::string>("/apps/installed") : std::nullopt;
    }
    LaunchOutcome openApplicationAtURL(const std::string& url,
                                       const NSWorkspaceOpenConfiguration& open) override {
        journal_.add("launch " + url + (open.activates ? " in front" : ""));
        if (!launches) return {nullptr, "broken"};
        return {std::make_shared<Instance>(), ""};
    }

  private:
    struct Instance : NSRunningApplication {
        std::optional<pid_t> processIdentifier() const override { return 1; }
    };
    Journal& journal_;
};

class FixedTools : public ToolPaths {
  public:
    std::string osascript() override { return path; }
    std::string shortcuts() override { return path; }
    std::string launchctl() override { return path; }
    std::string path = "/no/such/tool";
};

class Keystrokes : public testing::Test {
  protected:
    Keystrokes() {
        Platform platform;
        platform.eventPoster = std::make_unique<JournalPoster>(journal_);
        platform.workspace = std::make_unique<JournalWorkspace>(journal_);
        platform.toolPaths = std::make_unique<FixedTools>();
        poster_ = static_cast<JournalPoster*>(platform.eventPoster.get());
        workspace_ = static_cast<JournalWorkspace*>(platform.workspace.get());
        tools_ = static_cast<FixedTools*>(platform.toolPaths.get());
        Platform::install(std::move(platform));
    }
    ~Keystrokes() override {
        Platform::install({});
        if (!directory_.empty()) std::filesystem::remove_all(directory_);
    }

    HTTPResponse send(const std::string& body) {
        boost::asio::io_context context;
        HTTPRequest request;
        request.body = body;
        std::optional<HTTPResponse> response;
        Sleeper sleep = [this](std::chrono::nanoseconds duration) -> Task<void> {
            journal_.add("sleep " + std::to_string(duration.count() / 1000) + " us");
            co_return;
        };
        boost::asio::co_spawn(context, sendKeystrokes(std::move(request), sleep),
                              [&](const std::exception_ptr& error, HTTPResponse answer) {
                                  if (error) std::rethrow_exception(error);
                                  response = std::move(answer);
                              });
        context.run();
        EXPECT_TRUE(response);
        return response.value_or(HTTPResponse{});
    }

    std::string answer(const std::string& body) {
        const HTTPResponse response = send(body);
        return std::to_string(response.status) + " " + *response.body;
    }

    /// What was posted and how long was waited, without announcements.
    std::vector<std::string> keyLines() const {
        std::vector<std::string> lines;
        for (const std::string& line : journal_.lines) {
            if (!line.starts_with("announce")) lines.push_back(line);
        }
        return lines;
    }

    /// A tool that writes its arguments and its input to files and does what the script says.
    void installTool(const std::string& script) {
        std::string pattern = testing::TempDir() + "tool-XXXXXX";
        directory_ = mkdtemp(pattern.data());
        tools_->path = directory_ + "/osascript";
        std::ofstream(tools_->path) << "#!/bin/sh\nprintf '%s\\n' \"$@\" > " << directory_ << "/arguments\n"
                                    << script << "\n";
        chmod(tools_->path.c_str(), 0700);
    }

    std::string fileOfTool(const std::string& name) const {
        std::ifstream file(directory_ + "/" + name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    Journal journal_;
    JournalPoster* poster_ = nullptr;
    JournalWorkspace* workspace_ = nullptr;
    FixedTools* tools_ = nullptr;
    std::string directory_;
};

TEST_F(Keystrokes, TypesCharactersOneAfterAnotherAtThePaceAskedFor) {
    EXPECT_EQ(answer(R"({"text":"hI"})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":2,"keys":0})");
    EXPECT_THAT(journal_.lines, ElementsAre("announce hI", "down 4", "sleep 6000 us", "up 4",
                                            "sleep 12000 us", "down 34 flags 20000", "sleep 6000 us",
                                            "up 34 flags 20000", "sleep 12000 us", "announcement ends"));
}

TEST_F(Keystrokes, KeepsTheDelayInItsRange) {
    const std::pair<std::string, std::string> cases[] = {
        {"0", "500"},
        {"-5", "500"},
        {"1", "500"},
        {"250", "125000"},
        {"1000", "125000"},
        {"7", "3500"},
        {"null", "6000"},
        {"9223372036854775807", "125000"},
        {"-9223372036854775808", "500"},
        {"3.0", "1500"},
    };
    for (const auto& [delay, microseconds] : cases) {
        journal_.lines.clear();
        EXPECT_EQ(send(R"({"text":"a","delay_ms":)" + delay + "}").status, 200);
        ASSERT_GE(keyLines().size(), 2U) << delay;
        EXPECT_EQ(keyLines()[1], "sleep " + microseconds + " us") << delay;
    }
}

TEST_F(Keystrokes, SendsWhatHasNoKeyAsItsOwnUnits) {
    EXPECT_EQ(answer(R"({"text":"é👨‍👩‍👧\r\n","delay_ms":2})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":3,"keys":0})");
    const std::string family = " ud83d udc68 u200d ud83d udc69 u200d ud83d udc67";
    EXPECT_THAT(keyLines(), ElementsAre("down 0 ue9", "sleep 1000 us", "up 0 ue9", "sleep 2000 us",
                                        "down 0" + family, "sleep 1000 us", "up 0" + family, "sleep 2000 us",
                                        "down 0 ud ua", "sleep 1000 us", "up 0 ud ua", "sleep 2000 us"));
}

TEST_F(Keystrokes, PressesChordsAfterTheText) {
    EXPECT_EQ(answer(R"({"text":"a","keys":["cmd+t","Left"],"delay_ms":2})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":1,"keys":2})");
    EXPECT_THAT(keyLines(),
                ElementsAre("down 0", "sleep 1000 us", "up 0", "sleep 2000 us", "down 17 flags 100000",
                            "sleep 1000 us", "up 17 flags 100000", "sleep 2000 us", "down 123",
                            "sleep 1000 us", "up 123", "sleep 2000 us"));
}

TEST_F(Keystrokes, StopsAtAChordThatNamesNoKey) {
    EXPECT_EQ(answer(R"({"text":"x","keys":["tab","cmd+nope","esc"],"delay_ms":2})"),
              R"(400 {"error":"unknown_key","token":"cmd+nope"})");
    EXPECT_THAT(keyLines(), ElementsAre("down 7", "sleep 1000 us", "up 7", "sleep 2000 us", "down 48",
                                        "sleep 1000 us", "up 48", "sleep 2000 us"));
}

TEST_F(Keystrokes, PassesOverAnEventThatCannotBeMadeAndStillWaits) {
    poster_->broken = {{CGKeyCode{0}, true}, {CGKeyCode{11}, false}};
    EXPECT_EQ(send(R"({"text":"abé","delay_ms":2})").status, 200);
    EXPECT_THAT(keyLines(), ElementsAre("sleep 1000 us", "up 0", "sleep 2000 us", "down 11", "sleep 1000 us",
                                        "sleep 2000 us", "sleep 1000 us", "up 0 ue9", "sleep 2000 us"));
}

TEST_F(Keystrokes, RefusesBodiesWithNothingToSend) {
    const std::string nothing = R"(400 {"error":"bad_request","message":"text or keys required"})";
    for (const char* body : {"{}", R"({"text":""})", R"({"keys":[]})", R"({"text":null,"keys":null})",
                             R"({"app_bundle_id":"nowhere","text":""})", R"({"unknown":1})"}) {
        EXPECT_EQ(answer(body), nothing) << body;
    }
    for (const char* body : {"", "[]", "{", R"({"text":1})", R"({"keys":"a"})", R"({"keys":[1]})",
                             R"({"text":"a","delay_ms":1.5})", R"({"text":"a","delay_ms":"12"})"}) {
        const HTTPResponse response = send(body);
        EXPECT_EQ(response.status, 400) << body;
        EXPECT_EQ(member(response, "error"), "bad_request") << body;
    }
    EXPECT_TRUE(journal_.lines.empty());
}

TEST_F(Keystrokes, BringsTheApplicationToTheFrontFirst) {
    struct Case {
        std::string fields;
        std::vector<std::string> before;
        std::string app;
    };
    const Case cases[] = {
        {R"("app_bundle_id":"running")", {"activate all windows", "sleep 250000 us"}, "running"},
        {R"("app_bundle_id":"running","app_name":"x")",
         {"activate all windows", "sleep 250000 us"},
         "running"},
        {R"("app_bundle_id":"installed")", {"launch /apps/installed in front"}, "installed"},
        {R"("app_bundle_id":"")", {}, ""},
        {R"("app_name":"")", {}, ""},
    };
    for (const Case& each : cases) {
        journal_.lines.clear();
        const HTTPResponse response = send("{" + each.fields + R"(,"keys":["a"],"delay_ms":2})");
        EXPECT_EQ(response.status, 200) << each.fields;
        EXPECT_EQ(member(response, "app"), each.app) << each.fields;
        auto expected = each.before;
        expected.insert(expected.end(), {"down 0", "sleep 1000 us", "up 0", "sleep 2000 us"});
        EXPECT_THAT(journal_.lines, ElementsAreArray(expected)) << each.fields;
    }
}

TEST_F(Keystrokes, TypesNothingWhenTheApplicationIsNotThere) {
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"nowhere"})"),
              R"(404 {"error":"app_not_found","bundle_id":"nowhere"})");
    workspace_->launches = false;
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"installed"})"),
              R"(404 {"error":"app_not_found","bundle_id":"installed"})");
    EXPECT_THAT(journal_.lines, ElementsAre("launch /apps/installed in front"));
}

TEST_F(Keystrokes, DoesNotAskWhetherARunningApplicationCameToTheFront) {
    workspace_->activates = false;
    EXPECT_EQ(send(R"({"text":"a","app_bundle_id":"running"})").status, 200);
}

TEST_F(Keystrokes, ActivatesByNameThroughTheScriptingTool) {
    installTool("exit 0");
    EXPECT_EQ(answer(R"({"keys":["a"],"app_name":"My \"App\"","delay_ms":2})"),
              R"(200 {"ok":true,"method":"cgevent","app":"","chars":0,"keys":1})");
    EXPECT_EQ(fileOfTool("arguments"), "-e\ntell application \"My \"App\"\" to activate\n");
    EXPECT_EQ(journal_.lines.front(), "sleep 250000 us");
}

TEST_F(Keystrokes, GoesOnWhenActivationByNameFails) {
    EXPECT_EQ(send(R"({"keys":["a"],"app_name":"x","delay_ms":2})").status, 200);
    EXPECT_EQ(journal_.lines.front(), "down 0");
    installTool("exit 1");
    EXPECT_EQ(send(R"({"keys":["a"],"app_name":"x","delay_ms":2})").status, 200);
}

TEST_F(Keystrokes, ChoosesTheMethodByModeAndTarget) {
    struct Case {
        std::string fields;
        std::string method;
    };
    const Case cases[] = {
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal")", "applescript"},
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal","mode":"AUTO")", "applescript"},
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal","mode":"whatever")", "applescript"},
        {R"("text":"ls","app_bundle_id":"com.apple.Terminal","mode":"CGEvent")", "cgevent"},
        {R"("keys":["cmd+t"],"app_bundle_id":"com.apple.Terminal")", "cgevent"},
        {R"("keys":["cmd+t"],"app_bundle_id":"com.apple.Terminal","mode":"AppleScript")", "applescript"},
        {R"("text":"ls","app_bundle_id":"running")", "cgevent"},
    };
    installTool("cat >/dev/null");
    for (const Case& each : cases) {
        const HTTPResponse response = send("{" + each.fields + "}");
        EXPECT_EQ(response.status, 200) << each.fields;
        EXPECT_EQ(member(response, "method"), each.method) << each.fields;
    }
}

TEST_F(Keystrokes, HandsATerminalItsWholeTextAndThenPressesTheChordsItKnows) {
    installTool("cat > \"$(dirname \"$0\")/input\"");
    EXPECT_EQ(answer(R"({"text":"say \"é\\\"","keys":["nope","return"],"app_bundle_id":"com.apple.Terminal",)"
                     R"("delay_ms":2})"),
              R"(200 {"ok":true,"method":"applescript","app":"com.apple.Terminal","chars":8,"keys":2})");
    EXPECT_EQ(fileOfTool("arguments"), "-\n");
    EXPECT_THAT(fileOfTool("input"), testing::HasSubstr(R"(    do script "say \"é\\\"" in front window)"));
    EXPECT_THAT(journal_.lines, ElementsAre("activate all windows", "sleep 250000 us", "down 36",
                                            "sleep 1000 us", "up 36", "sleep 2000 us"));
}

TEST_F(Keystrokes, SurvivesScriptsAndOutputsLargerThanAPipe) {
    installTool(
        "cat > \"$(dirname \"$0\")/input\"; head -c 300000 /dev/zero | tr '\\0' o; "
        "head -c 300000 /dev/zero | tr '\\0' e >&2; exit 7");
    const std::string text(500'000, 'x');
    const HTTPResponse response = send(R"({"text":")" + text + R"(","app_bundle_id":"com.apple.Terminal"})");
    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(member(response, "error"), "applescript_failed");
    EXPECT_EQ(member(response, "stdout"), std::string(300'000, 'o'));
    EXPECT_EQ(member(response, "stderr"), std::string(300'000, 'e'));
    EXPECT_NE(fileOfTool("input").find(text), std::string::npos);
}

TEST_F(Keystrokes, ReportsAScriptThatFailsWithItsOutputsUntrimmed) {
    installTool("cat >/dev/null; echo out; printf '\\377' >&2; exit 1");
    EXPECT_EQ(answer(R"({"text":"a","app_bundle_id":"com.apple.Terminal"})"),
              R"(500 {"error":"applescript_failed","stderr":"","stdout":"out\n"})");
    tools_->path = "/no/such/tool";
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
