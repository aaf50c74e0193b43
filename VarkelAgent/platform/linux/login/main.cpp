#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "base/Environment.h"
#include "platform/linux/login/LoginService.h"

namespace varkel {

namespace {

constexpr const char* usage =
    "Usage: launchctl load|unload [-w] FILE\n"
    "       launchctl run FILE\n"
    "Makes the program of a property list start at login, undoes that, or runs the program.\n";

/// To the error output: the standard output is the caller's.
void say(const std::string& text) {
    if (!text.empty()) std::fputs((text + "\n").c_str(), stderr);
}

int run(const std::vector<std::string>& words) {
    std::vector<std::string> rest = words;
    if (rest.size() == 3 && rest[1] == "-w") rest.erase(rest.begin() + 1);
    if (rest.size() == 2 && rest[0] == "load") {
        say(loadLoginItem(rest[1]));
        return EXIT_SUCCESS;
    }
    if (rest.size() == 2 && rest[0] == "unload") {
        say(unloadLoginItem(rest[1]));
        return EXIT_SUCCESS;
    }
    if (rest.size() == 2 && rest[0] == "run") runLoginItem(rest[1]);
    std::fputs(usage, stderr);
    return EXIT_FAILURE;
}

}  // namespace

}  // namespace varkel

int main(int argc, char** argv) {
    // Ignored by what has started this, it would hide the exit statuses of systemctl.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        varkel::environment();
        return varkel::run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "launchctl: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
