#include "main/CommandLine.h"

#include <utility>

#include "base/ParseInteger.h"

namespace varkel {

namespace {

constexpr std::string_view tokenFileVariable = "QUELLAN_VARKEL_SIDECAR_TOKEN_FILE";
constexpr const char* tokenFileInHome = "/Vault-Quellan/secrets/varkel/sidecar-token";

bool takesValue(std::string_view argument) {
    return argument == "--port" || argument == "--token" || argument == "--token-file" ||
           argument == "--executable-path";
}

/// Takes the value of an option that has one; false when it cannot be one.
bool takeValue(CommandLine& line, std::string_view option, const std::string& value) {
    if (option == "--port") {
        const auto port = parseInteger<std::int64_t>(value);
        line.port = port.value_or(0);
        return port.has_value();
    }
    if (option == "--token") {
        line.token = value;
    } else if (option == "--token-file") {
        line.tokenFile = value;
    } else {
        line.executablePath = value;
    }
    return true;
}

CommandLine ended(CommandLine line, CommandLine::Outcome outcome) {
    line.outcome = outcome;
    return line;
}

}  // namespace

TokenSource defaultTokenSource(const Environment& environment) {
    TokenSource defaults;
    const auto token = environment.find(tokenVariable);
    if (token != environment.end()) defaults.token = token->second;
    const auto file = environment.find(tokenFileVariable);
    defaults.tokenFile =
        file != environment.end() ? file->second : homeDirectory(environment) + tokenFileInHome;
    return defaults;
}

CommandLine parseCommandLine(std::span<const std::string> arguments, const TokenSource& defaults) {
    using Outcome = CommandLine::Outcome;
    CommandLine line;
    static_cast<TokenSource&>(line) = defaults;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (takesValue(argument)) {
            if (++i == arguments.size()) return ended(std::move(line), Outcome::usageError);
            if (!takeValue(line, argument, arguments[i])) return ended(std::move(line), Outcome::usageError);
        } else if (argument == "--help" || argument == "-h") {
            return ended(std::move(line), Outcome::usage);
        } else if (argument == "--no-prompt") {
            line.prompt = false;
        } else {
            line.command = argument;
        }
    }
    return line;
}

std::string usageText(const TokenSource& defaults) {
    return "Usage: varkel-agent [options] [install|permissions]\n"
           "Options:\n"
           "  --port <port>            Listen port (default: " +
           std::to_string(defaultPort) +
           ")\n"
           "  --token <token>          Auth token (default: $QUELLAN_VARKEL_SIDECAR_TOKEN)\n"
           "  --token-file <path>      Auth token file (default: " +
           defaults.tokenFile +
           ")\n"
           "  --executable-path <path> Path to binary for LaunchAgent (default: Bundle.main.executablePath)\n"
           "  --no-prompt              Do not show macOS permission prompts\n"
           "Commands:\n"
           "  install                  Write LaunchAgent plist and load it\n"
           "  permissions              Check/request Accessibility and Screen Recording\n";
}

}  // namespace varkel
