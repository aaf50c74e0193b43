#include "inspector/Options.h"

#include "base/ParseInteger.h"

namespace varkel::inspector {

namespace {

/// Takes an option and its value; false when there is no such option, or not such a value.
bool takeOption(Options& options, const std::string& option, const std::string& value) {
    if (option != "--port") return takeClientOption(options, "--agent-port", option, value);
    const auto port = parseInteger<std::uint16_t>(value);
    options.port = port.value_or(0);
    return port.has_value();
}

}  // namespace

std::optional<Options> parseOptions(std::span<const std::string> arguments, const TokenSource& defaults) {
    Options options{{defaults}};
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
        if (i + 1 == arguments.size() || !takeOption(options, argument, arguments[i + 1]))
            return std::nullopt;
        ++i;
    }
    return options;
}

std::string usage(const TokenSource& defaults) {
    return "Usage: varkel-inspector [options]\n"
           "Shows in a browser what the varkel-agent of this desktop sees, until Ctrl-C.\n"
           "Options:\n"
           "  --port <port>        The page's port (default: any free one)\n" +
           clientOptionsUsage("--agent-port", defaults) + "  --no-browser         Only print the address\n";
}

}  // namespace varkel::inspector
