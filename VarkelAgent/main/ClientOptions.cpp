#include "main/ClientOptions.h"

#include <algorithm>
#include <initializer_list>

#include "base/ParseInteger.h"

namespace varkel {

namespace {

/// The column in which the explanations of a usage text begin.
constexpr std::size_t explanationColumn = 23;

/// Appends one line to a usage text.
void explain(std::string& usage, std::string_view option,
             std::initializer_list<std::string_view> explanation) {
    usage.append(option).append(explanationColumn - std::min(option.size(), explanationColumn - 1), ' ');
    for (const std::string_view part : explanation) usage += part;
    usage += '\n';
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
    std::string option = "  ";
    option.append(portOption).append(" <port>");
    std::string usage;
    explain(usage, option, {"The agent's port (default: ", std::to_string(defaultPort), ")"});
    explain(usage, "  --token <token>", {"The agent's token (default: $", tokenVariable, ")"});
    explain(usage, "  --token-file <path>",
            {"The file with the agent's token (default: ", defaults.tokenFile, ")"});
    return usage;
}

}  // namespace varkel
