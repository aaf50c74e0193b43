#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "base/FileDescriptor.h"
#include "platform/ChildProcess.h"
#include "support/Deadline.h"
#include "support/NoNewThreads.h"
#include "support/Processes.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = ChildProcess::Clock;

ChildCommand shell(const std::string& script, std::optional<std::string> input = std::nullopt) {
    ChildCommand command;
    command.executable = "/bin/sh";
    command.arguments = {"-c", script};
    command.input = std::move(input);
    return command;
}

/// What a script writes there with `say`, once it has.
pid_t pidIn(const std::string& path) {
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(path); }));
    pid_t pid = 0;
    std::ifstream(path) >> pid;
    EXPECT_GT(pid, 0);
    return pid;
}

/// A command that writes the last background process to a file, whole or not at all.
std::string say(const std::string& path) {
    return "echo $! > " + path + ".new; mv " + path + ".new " + path + "; ";
}

TEST(ChildProcess, TellsHowTheChildEndedAndWhatItWrote) {
    const std::tuple<std::string, int, bool, std::string, std::string> cases[] = {
        {"exit 0", 0, false, "", ""},
        {"echo out; echo err >&2; exit 3", 3, false, "out\n", "err\n"},
        {"printf 'a\\000b'; exit 255", 255, false, std::string("a\0b", 3), ""},
        {"kill -TERM $$", SIGTERM, true, "", ""},
        {"kill -KILL $$", SIGKILL, true, "", ""},
        {"exec >&- 2>&-; exit 4", 4, false, "", ""},
    };
    for (const auto& [script, status, signalled, out, err] : cases) {
        const ChildResult result = runChild(shell(script));
        EXPECT_EQ(std::tie(result.status, result.signalled, result.standardOutput, result.standardError),
                  std::tie(status, signalled, out, err))
            << script;
    }
}

TEST(ChildProcess, CapturesPassesOnOrDiscardsBothOutputs) {
    const TemporaryFolder folder;
    using enum ChildCommand::Output;
    const std::tuple<ChildCommand::Output, const char*, const char*> cases[] = {
        {capture, "out\nerr\n", ""}, {inherit, "", "out\nerr\n"}, {discard, "", ""}};
    for (const auto& [output, captured, passedOn] : cases) {
        // What this process's own outputs get is read off a file that stands in for them.
        const FileDescriptor file(
            ::open((folder / "own").c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600));
        const FileDescriptor before[] = {FileDescriptor(::dup(1)), FileDescriptor(::dup(2))};
        for (const int own : {1, 2}) ::dup2(file.get(), own);
        auto command = shell("echo out; echo err >&2");
        command.output = output;
        const ChildResult result = runChild(std::move(command));
        for (const int own : {1, 2}) ::dup2(before[own - 1].get(), own);
        EXPECT_EQ(result.standardOutput + result.standardError, captured);
        EXPECT_EQ(contents(folder / "own"), passedOn);
    }
}

TEST(ChildProcess, HandsOverAndDrainsMoreThanAnyPipeHolds) {
    std::string input;
    for (int line = 0; input.size() < 3'000'000; ++line) input += std::to_string(line) + "\n";
    for (const bool limited : {false, true}) {
        ChildProcess child(shell("tee /dev/stderr", input));
        const auto result = limited ? child.wait(Clock::now() + seconds(20)) : child.wait();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->status, 0);
        EXPECT_EQ(result->standardOutput, input);
        EXPECT_EQ(result->standardError, input);
    }
}

TEST(ChildProcess, AcceptsAChildThatDoesNotReadItsInput) {
    for (const char* script : {"exec <&-; echo done", "head -c 10 >/dev/null; echo done", "echo done"}) {
        EXPECT_EQ(runChild(shell(script, std::string(2'000'000, 'x'))).standardOutput, "done\n") << script;
    }
    EXPECT_EQ(runChild(shell("cat; echo end")).standardOutput, "end\n") << "none is an empty one";
    EXPECT_EQ(runChild(shell("cat; echo end", "")).standardOutput, "end\n");
}

TEST(ChildProcess, SaysWhyAProgramCannotBeStarted) {
    // The last, cut off at the zero byte, would run something else than was asked for.
    std::vector<ChildCommand> commands(3, shell("true"));
    commands[0].executable = "/no/such/program";
    commands[1].executable = "/tmp";
    commands[2].workingDirectory = "/no/such/directory";
    commands.push_back(shell(std::string("exit 0\0; exit 1", 15)));
    const std::size_t before = openDescriptors();
    for (const ChildCommand& command : commands) {
        try {
            runChild(command);
            ADD_FAILURE() << command.executable << " started";
        } catch (const LaunchError& error) {
            EXPECT_FALSE(std::string(error.what()).empty());
        }
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
}

TEST(ChildProcess, TakesASystemThatDoesNotTellTheStatusForAFailure) {
    auto* const disposition = std::signal(SIGCHLD, SIG_IGN);
    const ChildResult result = runChild(shell("echo out; exit 3"));
    std::signal(SIGCHLD, disposition);
    EXPECT_EQ(result.status, ChildResult::unknownStatus);
    EXPECT_EQ(result.standardOutput, "out\n");
}

TEST(ChildProcess, ReadsOnAfterTheEndUntilTheOutputsEnd) {
    const ChildResult result =
        runChild(shell("echo early; (while grep -qs 'State:.[RSD]' /proc/$$/status; do sleep 0.01; done; "
                       "echo late; echo late >&2) &"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardOutput, "early\nlate\n");
    EXPECT_EQ(result.standardError, "late\n");
}

TEST(ChildProcess, IsNotHeldForGoodByADescendantThatKeepsThePipes) {
    const ChildResult result = runChild(shell("sleep 1000 & echo $! >&2"));
    EXPECT_EQ(result.status, 0);
    const auto grandchild = static_cast<pid_t>(std::stol(result.standardError));
    EXPECT_TRUE(isAlive(grandchild));
    kill(grandchild, SIGKILL);
}

TEST(ChildProcess, KillsItsWholeGroupAndLeavesNoZombieWhenDropped) {
    const TemporaryFolder folder;
    const std::string path = folder / "grandchild";
    pid_t child = 0;
    pid_t grandchild = 0;
    {
        ChildProcess process(shell("trap '' TERM; sleep 1000 & " + say(path) + "wait"));
        child = process.processIdentifier();
        grandchild = pidIn(path);
    }
    EXPECT_FALSE(hasChildren());
    EXPECT_FALSE(isAlive(child));
    EXPECT_TRUE(eventually([&] { return !isAlive(grandchild); }));
}

TEST(ChildProcess, StopsTheWholeGroupWhoeverIgnoresThePoliteStop) {
    const TemporaryFolder folder;
    const std::string path = folder / "grandchild";
    const std::pair<std::string, int> cases[] = {
        {"(trap '' TERM; sleep 1000) & " + say(path) + "exec sleep 1000", SIGTERM},
        {"trap '' TERM; sleep 1000 & " + say(path) + "while :; do sleep 1000; done", SIGKILL},
        {"trap 'yes | head -c 1000000; exit 5' TERM; sleep 1000 & " + say(path) + "wait", 0},
    };
    for (const auto& [script, signal] : cases) {
        ChildProcess process(shell(script));
        const pid_t grandchild = pidIn(path);
        std::filesystem::remove(path);
        process.stop(milliseconds(100));
        EXPECT_TRUE(eventually([&] { return !isAlive(grandchild); })) << script;
        EXPECT_FALSE(hasChildren()) << script;
        const ChildResult result = process.wait().value_or(ChildResult{});
        EXPECT_EQ(result.signalled ? result.status : 0, signal) << script;
    }
}

/// A child that has left its group for that of this process and does so until it is killed.
ChildCommand deserter(const std::string& path, const std::string& then) {
    ChildCommand command;
    command.executable = "/usr/bin/perl";
    command.arguments = {"-e", "setpgrp(0, getpgrp(getppid())); open(F, '>', $ARGV[0]); close(F); " + then,
                         path};
    return command;
}

TEST(ChildProcess, ReachesAChildThatHasLeftItsGroup) {
    const TemporaryFolder folder;
    const std::string path = folder / "moved";
    // Each would end with status 0 by itself.
    ChildProcess process(deserter(path, "sleep 20"));
    EXPECT_TRUE(eventually([&] { return std::filesystem::exists(path); }));
    process.stop(milliseconds(1));
    EXPECT_TRUE(process.wait()->signalled);

    auto writing =
        deserter(path, "$| = 1; $SIG{ALRM} = sub { exit 0 }; alarm 20; while (1) { print 'x' x 65536 }");
    writing.outputLimit = 1'000'000;
    ChildProcess writer(std::move(writing));
    EXPECT_THROW(writer.wait(), OutputLimitError);
    EXPECT_TRUE(writer.wait()->signalled);
}

TEST(ChildProcess, IsEndedWhenItWritesMoreThanItMay) {
    for (const char* script : {"exec yes", "exec yes >&2", "yes | cat", "yes &"}) {
        auto command = shell(script);
        command.outputLimit = 1'000'000;
        EXPECT_THROW(runChild(std::move(command)), OutputLimitError) << script;
        EXPECT_FALSE(hasChildren()) << script;
    }
}

TEST(ChildProcess, RunsOnWhenDetachedAndIsReapedLaterWhenThreadsAreShort) {
    const auto isGone = [](pid_t pid) { return !std::filesystem::exists("/proc/" + std::to_string(pid)); };
    ChildProcess first(shell("exec sleep 1000"));
    ChildProcess second(shell("exit 0"));
    const pid_t early = first.processIdentifier();
    const pid_t late = second.processIdentifier();
    {
        const NoNewThreads shortage;
        EXPECT_NO_THROW(first.detach());
    }
    EXPECT_TRUE(isAlive(early));
    kill(early, SIGKILL);
    second.detach();
    EXPECT_TRUE(eventually([&] { return isGone(early) && isGone(late); }));
}

TEST(ChildProcess, InheritsNoDescriptorAndNoSignalState) {
    const int leaky = open("/dev/null", O_RDONLY);  // without close-on-exec, on purpose
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    auto* const disposition = std::signal(SIGINT, SIG_IGN);
    const ChildResult result =
        runChild(shell("ls /proc/self/fd | wc -l; sed -n 's/^Sig[BI][lg][kn]:.//p' /proc/self/status"));
    std::signal(SIGINT, disposition);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    close(leaky);

    std::istringstream lines(result.standardOutput);
    std::size_t descriptors = 0;
    std::uint64_t blockedThere = 1;
    std::uint64_t ignoredThere = 1;
    lines >> descriptors >> std::hex >> blockedThere >> ignoredThere;
    // Three of its own, and the one with which ls reads the folder.
    EXPECT_EQ(descriptors, 4U);
    EXPECT_EQ(blockedThere, 0U);
    // The C library keeps the two signals above 31 for itself.
    EXPECT_EQ(ignoredThere & 0x7FFFFFFF, 0U);
}

TEST(ChildProcess, RaisesNoSIGPIPEInThisProcessAndLeavesTheMaskAsItWas) {
    sigset_t before;
    sigset_t after;
    auto* const disposition = std::signal(SIGPIPE, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    runChild(shell("exec <&-; sleep 0.05", std::string(1'000'000, 'x')));
    std::signal(SIGPIPE, disposition);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(sigismember(&before, SIGPIPE), sigismember(&after, SIGPIPE));
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST(ChildProcess, LeaksNothingWhenManyRunAtOnce) {
    runChild(shell("true"));
    const std::size_t before = openDescriptors();
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([number] {
            for (int round = 0; round < 10; ++round) {
                const std::string text(100'000, static_cast<char>('a' + number));
                // A pipe end that another child had inherited would keep this one from ending.
                EXPECT_EQ(runChild(shell("cat", text)).standardOutput, text);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(hasChildren());
}

}  // namespace
}  // namespace varkel::test
