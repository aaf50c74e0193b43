#include "inspector/Options.h"

#include "base/ParseInteger.h"

namespace varkel::inspector {

namespace {

/// Takes the value of an option that has one; false when there is no such option, or not such a value.
bool takeValue(Options& options, const std::string& option, const std::string& value) {
    if (option == "--token") {
        options.token = value;
        return true;
    }
    if (option == "--token-file") {
        options.tokenFile = value;
        return true;
    }
    const auto port = parseInteger<std::uint16_t>(value);
    if (!port) return false;
    if (option == "--port") {
        options.port = *port;
        return true;
    }
    if (option != "--agent-port" || *port == 0) return false;
    options.agentPort = *port;
    return true;
}

}  // namespace

std::optional<Options> parseOptions(std::span<const std::string> arguments, const Defaults& defaults) {
    Options options;
    options.token = defaults.token;
    options.tokenFile = defaults.tokenFile;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "-h" || argument == "--help") {
            options.help = true;
            return options;
        }
        if (argument == "--no-browser") {
            options.opensBrowser = false;
            continue;
        }
        if (i + 1 == arguments.size() || !takeValue(options, argument, arguments[i + 1])) return std::nullopt;
        ++i;
    }
    return options;
}

std::string usage(const Defaults& defaults) {
    return "Usage: varkel-inspector [options]\n"
           "Shows in a browser what the varkel-agent of this desktop sees, until Ctrl-C.\n"
           "Options:\n"
           "  --port <port>        The page's port (default: any free one)\n"
           "  --agent-port <port>  The agent's port (default: " +
           std::to_string(defaultPort) +
           ")\n"
           "  --token <token>      The agent's token (default: $QUELLAN_VARKEL_SIDECAR_TOKEN)\n"
           "  --token-file <path>  The file with the agent's token (default: " +
           defaults.tokenFile +
           ")\n"
           "  --no-browser         Only print the address\n";
}

}  // namespace varkel::inspector
