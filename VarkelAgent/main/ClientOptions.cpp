#include "main/ClientOptions.h"

#include <algorithm>

#include "base/ParseInteger.h"

namespace varkel {

namespace {

/// The column in which the explanations of a usage text begin.
constexpr std::size_t explanationColumn = 23;

std::string explained(std::string option, std::string_view explanation) {
    option.resize(std::max(option.size() + 1, explanationColumn), ' ');
    return option.append(explanation) + '\n';
}

}  // namespace

bool takeClientOption(ClientOptions& options, std::string_view portOption, std::string_view option,
                      const std::string& value) {
    if (option == "--token") {
        options.token = value;
    } else if (option == "--token-file") {
        options.tokenFile = value;
    } else if (option == portOption) {
        options.agentPort = parseInteger<std::uint16_t>(value).value_or(0);
        return options.agentPort != 0;
    } else {
        return false;
    }
    return true;
}

std::optional<ClientOptions> parseClientOptions(std::span<const std::string> arguments,
                                                const TokenSource& defaults) {
    ClientOptions options{defaults};
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        if (arguments[i] == "-h" || arguments[i] == "--help") {
            options.help = true;
            return options;
        }
        if (i + 1 == arguments.size()) return std::nullopt;
        if (!takeClientOption(options, "--port", arguments[i], arguments[i + 1])) return std::nullopt;
    }
    return options;
}

std::string clientOptionsUsage(std::string_view portOption, const TokenSource& defaults) {
    return explained("  " + std::string(portOption) + " <port>",
                     "The agent's port (default: " + std::to_string(defaultPort) + ")") +
           explained("  --token <token>",
                     std::string("The agent's token (default: $") + tokenVariable + ")") +
           explained("  --token-file <path>",
                     "The file with the agent's token (default: " + defaults.tokenFile + ")");
}

}  // namespace varkel
