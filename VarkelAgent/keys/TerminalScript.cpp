#include "keys/TerminalScript.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "base/UnicodeText.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c == '\\' || c == '"') out += '\\';
        out += c;
    }
    return out;
}

std::string iTermScript(const std::string& text) {
    return "tell application \"iTerm2\"\n"
           "    activate\n"
           "    if (count of windows) = 0 then\n"
           "        create window with default profile\n"
           "    end if\n"
           "    tell current session of current window\n"
           "        write text \"" +
           text +
           "\"\n"
           "    end tell\n"
           "end tell";
}

std::string terminalScript(const std::string& text) {
    return "tell application \"Terminal\"\n"
           "    activate\n"
           "    if (count of windows) = 0 then\n"
           "        do script \"\"\n"
           "    end if\n"
           "    do script \"" +
           text +
           "\" in front window\n"
           "end tell";
}

}  // namespace

bool isTerminalBundleId(std::string_view bundleId) {
    return std::ranges::find(TERMINAL_BUNDLE_IDS, bundleId) != TERMINAL_BUNDLE_IDS.end();
}

std::optional<std::string> appleScriptForTerminal(std::string_view bundleId, std::string_view text) {
    if (!isTerminalBundleId(bundleId)) return std::nullopt;
    return bundleId == "com.apple.Terminal" ? terminalScript(escaped(text)) : iTermScript(escaped(text));
}

OsaResult runOsa(std::string script) {
    ChildCommand command;
    command.executable = Platform::current().toolPaths->osascript();
    command.arguments = {"-"};
    command.input = std::move(script);
    try {
        ChildResult result = runChild(std::move(command));
        return {result.status, validUTF8OrEmpty(std::move(result.standardOutput)),
                validUTF8OrEmpty(std::move(result.standardError))};
    } catch (const std::runtime_error& error) {
        return {-1, "", error.what()};
    }
}

}  // namespace varkel
