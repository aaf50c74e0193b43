#include "platform/linux/login/UserManager.h"

#include <chrono>
#include <utility>

#include "platform/ChildProcess.h"
#include "platform/linux/login/LoginItem.h"
#include "platform/posix/ProgramPath.h"

namespace varkel {

namespace {

/// A manager may wait for a program to stop; asking it something takes no time.
constexpr std::chrono::seconds controlLimit{100};
constexpr std::chrono::seconds askLimit{5};

ChildProcess start(const std::vector<std::string>& words) {
    ChildCommand command;
    command.executable = resolveProgram("systemctl");
    command.arguments = {"--user", "--no-pager", "--no-ask-password"};
    command.arguments.insert(command.arguments.end(), words.begin(), words.end());
    return ChildProcess(std::move(command));
}

/// Whether the tool succeeded in time; a tool that is not there does not.
bool succeeds(const std::vector<std::string>& words, std::chrono::seconds limit, std::string& errors) {
    try {
        ChildProcess child = start(words);
        const auto result = child.wait(ChildProcess::Clock::now() + limit);
        errors = result ? result->standardError : "no answer in time";
        return result && !result->signalled && result->status == 0;
    } catch (const LaunchError& error) {
        errors = error.what();
        return false;
    }
}

bool asks(const std::vector<std::string>& words) {
    std::string errors;
    return succeeds(words, askLimit, errors);
}

}  // namespace

bool userManagerAnswers() {
    return asks({"show", "--property=Version"});
}

bool hasGraphicalSession() {
    return asks({"--quiet", "is-active", "graphical-session.target"});
}

void controlUserManager(const std::vector<std::string>& words) {
    std::string errors;
    if (succeeds(words, controlLimit, errors)) return;
    while (errors.ends_with('\n')) errors.pop_back();
    throw LoginItemError("systemctl --user " + words.front() + " failed: " + errors);
}

}  // namespace varkel
