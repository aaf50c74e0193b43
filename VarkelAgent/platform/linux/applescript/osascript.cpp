// Runs a script in a small subset of AppleScript, from standard input or from arguments; docs/platforms.md
// describes the subset.

#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/applescript/EndWithParent.h"
#include "platform/linux/applescript/Interpreter.h"
#include "platform/linux/applescript/LinuxScriptDesktop.h"
#include "platform/linux/applescript/Parser.h"
#include "platform/linux/applescript/ScriptError.h"

namespace {

using namespace varkel::applescript;

constexpr int failed = 1;
constexpr int wrongUsage = 2;

std::string readStandardInput() {
    std::string text;
    char buffer[65536];
    while (const std::size_t count = std::fread(buffer, 1, sizeof buffer, stdin)) text.append(buffer, count);
    return text;
}

/// The script's source: the lines after each "-e", or standard input for "-". Nothing for other arguments.
std::optional<std::string> sourceFrom(const std::vector<std::string_view>& arguments) {
    if (arguments == std::vector<std::string_view>{"-"}) return readStandardInput();
    if (arguments.empty() || arguments.size() % 2 != 0) return std::nullopt;
    std::string source;
    for (std::size_t at = 0; at < arguments.size(); at += 2) {
        if (arguments[at] != "-e") return std::nullopt;
        if (at > 0) source += '\n';
        source += arguments[at + 1];
    }
    return source;
}

void run(const std::string& source) {
    const Script script = parseScript(source);
    LinuxScriptDesktop desktop;
    const auto result = runScript(script, desktop);
    if (!result) return;
    const std::string text = textOf(*result) + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

int main(int argc, char** argv) {
    varkel::endWithParent();
    varkel::stopGroupAlong();
    // Ignored by what has started this, it would hide the exit statuses of shell commands.
    std::signal(SIGCHLD, SIG_DFL);
    const auto source = sourceFrom({argv + 1, argv + argc});
    if (!source) {
        std::fputs("usage: osascript - < script\n       osascript -e line [-e line ...]\n", stderr);
        return wrongUsage;
    }
    try {
        run(*source);
    } catch (const SyntaxError& error) {
        std::fprintf(stderr, "osascript: line %d: syntax error: %s\n", error.line(), error.what());
        return failed;
    } catch (const ExecutionError& error) {
        std::fprintf(stderr, "osascript: line %d: execution error: %s (%d)\n", error.line(), error.what(),
                     error.number());
        return failed;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "osascript: %s\n", error.what());
        return failed;
    }
    return std::fflush(stdout) == 0 ? 0 : failed;
}
