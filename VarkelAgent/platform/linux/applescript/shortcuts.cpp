// Runs a Shortcut, or lists them: "shortcuts run NAME", "shortcuts list". docs/platforms.md says what a
// Shortcut is here.

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/applescript/EndWithParent.h"
#include "platform/linux/applescript/ShortcutFolder.h"

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;
constexpr int cannotExecute = 126;

int list(const varkel::ShortcutFolder& folder) {
    for (const std::string& name : folder.names()) std::printf("%s\n", name.c_str());
    return std::fflush(stdout) == 0 ? 0 : failed;
}

/// Becomes the Shortcut, so that signals reach it and its exit status is this process's.
int run(const varkel::ShortcutFolder& folder, std::string_view name) {
    std::string file = folder.find(name).value_or("");
    if (file.empty()) {
        std::fprintf(stderr, "shortcuts: there is no Shortcut named \"%s\"\n", std::string(name).c_str());
        return failed;
    }
    char* const arguments[] = {file.data(), nullptr};
    execv(file.c_str(), arguments);
    if (errno == ENOEXEC) {
        // A script without a first line that names its interpreter is the shell's, as on a command line.
        std::string shell = "/bin/sh";
        char* const withShell[] = {shell.data(), file.data(), nullptr};
        execv(shell.c_str(), withShell);
    }
    std::fprintf(stderr, "shortcuts: %s: %s\n", file.c_str(), std::strerror(errno));
    return cannotExecute;
}

}  // namespace

int main(int argc, char** argv) {
    varkel::endWithParent();
    const std::vector<std::string_view> arguments(argv + 1, argv + argc);
    try {
        const varkel::ShortcutFolder folder(varkel::ShortcutFolder::defaultPath());
        if (arguments.size() == 1 && arguments[0] == "list") return list(folder);
        if (arguments.size() == 2 && arguments[0] == "run") return run(folder, arguments[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "shortcuts: %s\n", error.what());
        return failed;
    }
    std::fputs("usage: shortcuts list\n       shortcuts run name\n", stderr);
    return wrongUsage;
}
