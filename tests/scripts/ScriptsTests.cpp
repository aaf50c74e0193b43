#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

#include "base/BlockingPool.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"
#include "support/Deadline.h"
#include "support/FakeToolPaths.h"
#include "support/Processes.h"
#include "support/RunTask.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

/// The handlers, on a system whose tools are shell scripts that the test writes. They leave nothing behind.
class Scripts : public testing::Test {
  protected:
    Scripts() {
        Platform platform;
        platform.toolPaths = std::make_unique<FakeToolPaths>(folder_ / "tool");
        Platform::install(std::move(platform));
    }
    ~Scripts() override {
        Platform::install({});
        EXPECT_FALSE(hasChildren());
    }

    void installTool(const std::string& script) {
        folder_.write("tool", "#!/bin/sh\ncd '" + folder_.path().string() + "'\n" + script + "\n", 0700);
    }

    static HTTPResponse call(std::string_view path, const std::string& body) { return answerOf(path, body); }
    static std::string answer(std::string_view path, const std::string& body) {
        return statusAndBody(call(path, body));
    }

    std::string file(const std::string& name) const { return contents(folder_ / name); }
    bool exists(const std::string& name) const { return std::filesystem::exists(folder_ / name); }

    TemporaryFolder folder_;
};

constexpr const char* script = R"({"script":"return 1"})";
constexpr const char* shortcut = R"({"name":"Tidy up"})";

TEST_F(Scripts, AnswerWithWhatTheToolPrintedAndHowItEnded) {
    const auto check = [&](const std::string& path, const std::string& body, const std::string& tool,
                           const std::string& expected) {
        installTool(tool);
        EXPECT_EQ(answer(path, body), expected) << tool;
    };
    const std::string run = "/applescript/run";
    check(run, script, "cat >/dev/null; printf ' \\n hello\\302\\240\\n'",
          R"(200 {"ok":true,"output":"hello"})");
    check(run, script, "cat >/dev/null", R"(200 {"ok":true,"output":""})");
    check(run, script, "cat >/dev/null; printf '\\377'", R"(200 {"ok":true,"output":""})");
    check(run, script, "echo out; echo 'no  such' >&2; exit 3",
          R"(500 {"error":"applescript_failed","exitCode":3,"stderr":"no  such\n","stdout":"out\n"})");
    check(run, script, "echo out; printf 'a\\377' >&2; exit 255",
          R"(500 {"error":"applescript_failed","exitCode":255,"stderr":"","stdout":"out\n"})");
    check(run, script, "kill -SEGV $$",
          R"(500 {"error":"applescript_failed","exitCode":11,"stderr":"","stdout":""})");
    check(run, R"({"script":"some text"})", "echo \"$@\"; cat", R"(200 {"ok":true,"output":"-\nsome text"})");
    const std::string all = "echo \"$#,$1,$2\"; cat";
    check("/shortcut", R"({"name":" Tidy up ","input":"é\n"})", all,
          R"(200 {"ok":true,"output":"2,run, Tidy up \né\n"})");
    check("/shortcut", R"({"name":"","input":null,"timeoutMs":null})", all,
          R"(200 {"ok":true,"output":"2,run,\n"})");
    // Any limit that a request can name, and an input that is empty.
    for (const char* limit : {"60000", "9223372036854775807", "-9223372036854775808", "0", "1e6"}) {
        check("/shortcut", std::string(R"({"name":"x","input":"","timeoutMs":)") + limit + "}",
              "cat; echo end", R"(200 {"ok":true,"output":"end\n"})");
    }
    check("/shortcut", shortcut, "printf '\\377'", R"(200 {"ok":true,"output":""})");
    const std::string fails = "echo out; echo bad >&2; exit 7";
    check("/shortcut", shortcut, fails,
          R"(500 {"error":"shortcut_failed","exitCode":7,"stderr":"bad\n","stdout":"out\n"})");
    check("/shortcut/list", "", fails, R"(500 {"error":"shortcut_failed","exitCode":7,"stderr":"bad\n"})");
    check("/shortcut/list", "", "true", R"(200 {"ok":true,"shortcuts":[]})");
    check("/shortcut/list", "not read", "echo \"$@\"; printf '\\n  One\\t\\n\\n \\nTwo words\\r\\nThree'",
          R"(200 {"ok":true,"shortcuts":["list","One","Two words","Three"]})");
}

TEST_F(Scripts, GetTheirWholeNameOrDoNotRun) {
    // What was consented to is the whole name; up to the zero byte it may be another Shortcut's.
    installTool("touch ran");
    EXPECT_EQ(call("/shortcut", R"({"name":"Tidy\u0000 up"})").status, 500);
    EXPECT_FALSE(exists("ran"));
}

TEST_F(Scripts, StopAShortcutAtItsLimitWithAllThatItStarted) {
    const std::string note = "sleep 1000 & echo $! $$ > started; ";
    for (const std::string& tool :
         {note + "wait", "trap '' TERM INT HUP; " + note + "while :; do sleep 1; done",
          note + "kill -STOP $$", note + "exec 0<&- 1>&- 2>&-; sleep 1000"}) {
        installTool(tool);
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(answer("/shortcut", R"({"name":"Slow é","timeoutMs":10})"),
                  R"(504 {"error":"shortcut_timeout","name":"Slow é","elapsed_ms":1000})");
        EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::milliseconds(1000));
        std::istringstream pids(file("started"));
        int stopped = 0;
        for (pid_t pid = 0; pids >> pid; ++stopped) {
            EXPECT_TRUE(eventually([&] { return !isAlive(pid); })) << tool;
        }
        EXPECT_EQ(stopped, 2) << tool;
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
        boost::asio::co_spawn(context, runAppleScript({std::to_string(number) + "\n"}),
                              [&](const std::exception_ptr&, const HTTPResponse& response) {
                                  answered += response.status == 200 ? 1 : 0;
                              });
    }
    std::thread serving([&] { context.run(); });
    const auto started = [&] {
        int found = 0;
        for (int number = 0; number < count; ++number)
            found += exists("started-" + std::to_string(number)) ? 1 : 0;
        return found;
    };
    EXPECT_TRUE(eventually([&] { return started() == count; }));
    const auto work = [] { return 5; };
    const auto other = [&]() -> Task<int> { co_return co_await runBlocking(work); };
    EXPECT_EQ(runTask(other()), 5);
    folder_.write("go", "");
    serving.join();
    EXPECT_EQ(answered, count);
}

}  // namespace
}  // namespace varkel::test
