#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "http/BlockingPool.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"
#include "support/RunTask.h"

namespace varkel {
namespace {

namespace json = boost::json;
using Handler = Task<HTTPResponse> (*)(HTTPRequest);

class FolderOfTools : public ToolPaths {
  public:
    explicit FolderOfTools(std::string folder) : folder_(std::move(folder)) {}
    std::string osascript() override { return folder_ + "/tool"; }
    std::string shortcuts() override { return folder_ + "/tool"; }
    std::string launchctl() override { return folder_ + "/none"; }

  private:
    std::string folder_;
};

/// The handlers, on a system whose tools are shell scripts that the test writes.
class Scripts : public testing::Test {
  protected:
    Scripts() {
        std::string pattern = testing::TempDir() + "scripts-XXXXXX";
        folder_ = mkdtemp(pattern.data());
        Platform platform;
        platform.toolPaths = std::make_unique<FolderOfTools>(folder_);
        Platform::install(std::move(platform));
    }
    ~Scripts() override {
        Platform::install({});
        std::filesystem::remove_all(folder_);
    }

    void installTool(const std::string& script) {
        const std::string path = folder_ + "/tool";
        std::ofstream(path) << "#!/bin/sh\ncd '" << folder_ << "'\n" << script << "\n";
        chmod(path.c_str(), 0700);
    }

    static HTTPResponse call(Handler handler, const std::string& body) {
        HTTPRequest request;
        request.body = body;
        return test::runTask(handler(std::move(request)));
    }

    static std::string answer(Handler handler, const std::string& body) {
        const HTTPResponse response = call(handler, body);
        return std::to_string(response.status) + " " + *response.body;
    }

    std::string file(const std::string& name) const {
        std::ifstream stream(folder_ + "/" + name);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::string folder_;
};

constexpr const char* script = R"({"script":"return 1"})";
constexpr const char* shortcut = R"({"name":"Tidy up"})";

TEST_F(Scripts, RefuseBodiesThatAreNoRequest) {
    installTool("touch ran");
    const std::string refused = R"(400 {"error":"bad_request","message":"Invalid JSON body"})";
    for (const char* body : {"", "{}", "[]", R"({"script":5})", R"({"script":null})", R"({"script":"x")"})
        EXPECT_EQ(answer(runAppleScript, body), refused) << body;
    for (const char* body : {"", "{}", R"({"name":5})", R"({"name":"x","input":5})",
                             R"({"name":"x","timeoutMs":"5"})", R"({"name":"x","timeoutMs":1.5})"})
        EXPECT_EQ(answer(runShortcut, body), refused) << body;
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/ran"));
}

TEST_F(Scripts, AnswerWithWhatTheToolPrintedAndHowItEnded) {
    struct Case {
        std::string tool;
        Handler handler;
        std::string body;
        std::string answer;
    };
    const Case cases[] = {
        {"cat >/dev/null; printf ' \\n hello\\302\\240\\n'", runAppleScript, script,
         R"(200 {"ok":true,"output":"hello"})"},
        {"cat >/dev/null", runAppleScript, script, R"(200 {"ok":true,"output":""})"},
        {"cat >/dev/null; printf '\\377'", runAppleScript, script, R"(200 {"ok":true,"output":""})"},
        {"echo out; echo 'no  such' >&2; exit 3", runAppleScript, script,
         R"(500 {"error":"applescript_failed","exitCode":3,"stderr":"no  such\n","stdout":"out\n"})"},
        {"echo out; printf 'a\\377' >&2; exit 255", runAppleScript, script,
         R"(500 {"error":"applescript_failed","exitCode":255,"stderr":"","stdout":"out\n"})"},
        {"kill -SEGV $$", runAppleScript, script,
         R"(500 {"error":"applescript_failed","exitCode":11,"stderr":"","stdout":""})"},
        {"echo \"$@\"; cat", runAppleScript, R"({"script":"some text"})",
         R"(200 {"ok":true,"output":"-\nsome text"})"},
        {"echo \"$#,$1,$2\"; cat", runShortcut, R"({"name":" Tidy up ","input":"é\n"})",
         R"(200 {"ok":true,"output":"2,run, Tidy up \né\n"})"},
        {"echo $#,$1,$2; cat", runShortcut, R"({"name":"","input":null,"timeoutMs":null})",
         R"(200 {"ok":true,"output":"2,run,\n"})"},
        {"cat; echo end", runShortcut, R"({"name":"x","input":""})", R"(200 {"ok":true,"output":"end\n"})"},
        {"printf '\\377'", runShortcut, shortcut, R"(200 {"ok":true,"output":""})"},
        {"echo out; echo bad >&2; exit 7", runShortcut, shortcut,
         R"(500 {"error":"shortcut_failed","exitCode":7,"stderr":"bad\n","stdout":"out\n"})"},
        {"echo \"$@\"; printf '\\n  One\\t\\n\\n \\nTwo words\\r\\nThree'", listShortcuts, "not read",
         R"(200 {"ok":true,"shortcuts":["list","One","Two words","Three"]})"},
        {"true", listShortcuts, "", R"(200 {"ok":true,"shortcuts":[]})"},
        {"echo out; echo bad >&2; exit 7", listShortcuts, "",
         R"(500 {"error":"shortcut_failed","exitCode":7,"stderr":"bad\n"})"},
    };
    for (const Case& each : cases) {
        installTool(each.tool);
        EXPECT_EQ(answer(each.handler, each.body), each.answer) << each.tool;
    }
}

TEST_F(Scripts, SayWhyTheToolCannotBeStarted) {
    const std::string missing = R"(","message":"No such file or directory"})";
    EXPECT_EQ(answer(runAppleScript, script), R"(500 {"error":"applescript_failed)" + missing);
    EXPECT_EQ(answer(runShortcut, shortcut), R"(500 {"error":"shortcut_failed)" + missing);
    EXPECT_EQ(answer(listShortcuts, ""), R"(500 {"error":"shortcut_failed)" + missing);
    // What was consented to is the whole name; up to the zero byte it may be another Shortcut's.
    installTool("touch ran");
    EXPECT_EQ(call(runShortcut, R"({"name":"Tidy\u0000 up"})").status, 500);
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/ran"));
}

TEST_F(Scripts, AreNotStalledByLargeTextsNorByAToolThatDoesNotRead) {
    const std::string large(3'000'000, 'x');
    const std::pair<Handler, std::string> cases[] = {
        {runAppleScript, R"({"script":")" + large + R"("})"},
        {runShortcut, R"({"name":"x","timeoutMs":60000,"input":")" + large + R"("})"},
    };
    for (const auto& [handler, body] : cases) {
        installTool("tee /dev/stderr");
        EXPECT_EQ(answer(handler, body), R"(200 {"ok":true,"output":")" + large + R"("})");
        // Writes more than a pipe holds before it reads, and then not all.
        installTool(
            "head -c 2000000 /dev/zero | tr '\\0' o; head -c 10 >/dev/null; exec <&-; echo e >&2; exit 1");
        const auto response = call(handler, body);
        const auto fields = json::parse(*response.body).as_object();
        EXPECT_EQ(fields.at("stdout").as_string(), std::string(2'000'000, 'o'));
        EXPECT_EQ(fields.at("stderr").as_string(), "e\n");
    }
}

TEST_F(Scripts, DoNotWaitForWhatTheToolLeavesRunning) {
    installTool("cat >/dev/null; sleep 1000 & echo $! > left; echo done");
    const std::pair<Handler, const char*> cases[] = {{runAppleScript, script}, {runShortcut, shortcut}};
    for (const auto& [handler, body] : cases) {
        EXPECT_EQ(call(handler, body).status, 200);
        // What a script leaves running on purpose runs on.
        EXPECT_EQ(kill(static_cast<pid_t>(std::stol(file("left"))), SIGKILL), 0);
    }
}

TEST_F(Scripts, StopAShortcutAtItsLimitWithAllThatItStarted) {
    for (const char* tool : {"sleep 1000 & echo $! $$ > started; wait",
                             "trap '' TERM; sleep 1000 & echo $! $$ > started; while :; do sleep 1; done"}) {
        installTool(tool);
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(answer(runShortcut, R"({"name":"Slow é","timeoutMs":10})"),
                  R"(504 {"error":"shortcut_timeout","name":"Slow é","elapsed_ms":1000})");
        EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(1000));
        std::istringstream pids(file("started"));
        for (pid_t pid = 0; pids >> pid;) {
            // A grandchild is reaped by whoever inherits it; until then it is a zombie.
            const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            const auto lives = [&] {
                std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
                std::string line;
                return std::getline(stat, line) && line.find(") Z ") == std::string::npos;
            };
            while (lives() && std::chrono::steady_clock::now() < until)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            EXPECT_FALSE(lives()) << tool;
        }
    }
}

TEST_F(Scripts, AcceptAnyLimitThatARequestCanName) {
    installTool("cat; echo done");
    for (const char* limit : {"60000", "9223372036854775807", "-9223372036854775808", "0", "1e6"}) {
        EXPECT_EQ(answer(runShortcut, std::string(R"({"name":"x","timeoutMs":)") + limit + "}"),
                  R"(200 {"ok":true,"output":"done\n"})")
            << limit;
    }
}

TEST_F(Scripts, ThatNeverEndHoldNoThreadOfTheSharedPool) {
    // All of them run at once, more than the shared pool has threads, until the test lets them end.
    installTool("read -r number; touch started-$number; while [ ! -e go ]; do sleep 0.05; done");
    constexpr int count = 100;
    static_assert(count > BlockingPool::defaultMaxThreads);
    boost::asio::io_context context;
    int answered = 0;
    for (int number = 0; number < count; ++number) {
        HTTPRequest request;
        request.body = R"({"script":")" + std::to_string(number) + R"(\n"})";
        boost::asio::co_spawn(context, runAppleScript(std::move(request)),
                              [&](const std::exception_ptr&, const HTTPResponse& response) {
                                  answered += response.status == 200 ? 1 : 0;
                              });
    }
    std::thread serving([&] { context.run(); });
    const auto started = [&] {
        int found = 0;
        for (int number = 0; number < count; ++number)
            found += std::filesystem::exists(folder_ + "/started-" + std::to_string(number)) ? 1 : 0;
        return found;
    };
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (started() < count && std::chrono::steady_clock::now() < until)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(started(), count);
    const auto work = [] { return 5; };
    const auto other = [&]() -> Task<int> { co_return co_await runBlocking(work); };
    EXPECT_EQ(test::runTask(other()), 5);
    std::ofstream(folder_ + "/go") << "go";
    serving.join();
    EXPECT_EQ(answered, count);
}

}  // namespace
}  // namespace varkel
