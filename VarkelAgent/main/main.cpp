#include <sys/resource.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/this_coro.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include "base/BlockingPool.h"
#include "base/Environment.h"
#include "base/IdleTimer.h"
#include "http/HTTPServer.h"
#include "main/CommandLine.h"
#include "main/Console.h"
#include "main/LaunchAgent.h"
#include "main/PermissionCheck.h"
#include "main/Token.h"
#include "platform/Memory.h"
#include "platform/Platform.h"
#include "routes/Routes.h"

namespace varkel {

namespace {

/// The exit status of `permissions` when one of them is missing.
constexpr int permissionsMissing = 3;

// Long enough not to come between the requests of one task.
constexpr std::chrono::seconds idleBeforeRelease(2);

int failWithUsage(const std::string& message, const TokenSource& defaults) {
    print(message + usageText(defaults));
    return EXIT_FAILURE;
}

/// The customary limit of 1,024 descriptors is fewer than the connections that the agent is meant to keep.
void raiseDescriptorLimit() {
    constexpr rlim_t enough = 16'384;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t wanted = std::min(enough, limit.rlim_max);
    if (limit.rlim_cur >= wanted) return;
    limit.rlim_cur = wanted;
    setrlimit(RLIMIT_NOFILE, &limit);
}

int install(const CommandLine& line) {
    const std::string token = line.token.empty() ? readTokenFile(line.tokenFile) : line.token;
    const std::string home = homeDirectory(environment());
    installLaunchAgent(line.port, token, launchedExecutable(line.executablePath, executablePath(), home),
                       home);
    return EXIT_SUCCESS;
}

int checkPermissions(const CommandLine& line, const std::string& program) {
    const TrustPrompt prompt = line.prompt ? TrustPrompt::yes : TrustPrompt::no;
    return runPermissionCheck(prompt, executablePath().value_or(program)) ? EXIT_SUCCESS : permissionsMissing;
}

/// Runs one of the commands that end the process. Gives the exit status.
int runCommand(const CommandLine& line, const TokenSource& defaults, const std::string& program) {
    if (*line.command == "install") return install(line);
    if (*line.command == "permissions") return checkPermissions(line, program);
    return failWithUsage("Unknown command: " + *line.command + "\n", defaults);
}

/// Serves until the process is killed. Gives the exit status.
Task<int> serve(CommandLine line, TokenSource defaults) {
    std::string token = resolveToken(line);
    if (token.empty()) {
        co_return failWithUsage(
            "Error: --token, $QUELLAN_VARKEL_SIDECAR_TOKEN, or --token-file is required\n", defaults);
    }
    if (line.port < 0 || line.port > std::numeric_limits<std::uint16_t>::max()) {
        co_return failWithUsage("", defaults);
    }
    raiseDescriptorLimit();
    const auto overlay = OverlayClient::init(URLSession::shared());
    // Outlives the server, whose threads touch it.
    IdleTimer memoryRelease(co_await boost::asio::this_coro::executor, idleBeforeRelease,
                            [] { BlockingPool::shared().submit(releaseFreeMemory); });
    HTTPServer server(static_cast<std::uint16_t>(line.port), std::move(token));
    registerRoutes(server, overlay);
    server.whenAnswered([&] { memoryRelease.touch(); });
    BlockingPool::shared().submit([] { Platform::current().accessibility->announce(); });
    co_await server.start();
    co_return EXIT_SUCCESS;
}

Task<int> runServer(std::string program, std::vector<std::string> arguments) {
    const TokenSource defaults = defaultTokenSource(environment());
    const CommandLine line = parseCommandLine(arguments, defaults);
    switch (line.outcome) {
        case CommandLine::Outcome::usage:
            print(usageText(defaults));
            co_return EXIT_SUCCESS;
        case CommandLine::Outcome::usageError:
            co_return failWithUsage("", defaults);
        case CommandLine::Outcome::run:
            break;
    }
    if (line.command) co_return runCommand(line, defaults, program);
    co_return co_await serve(line, defaults);
}

std::string describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& known) {
        return known.what();
    } catch (...) {
        return "unknown error";
    }
}

int run(std::string program, std::vector<std::string> arguments) {
    int status = EXIT_SUCCESS;
    boost::asio::io_context mainThread(1);
    boost::asio::co_spawn(mainThread, runServer(std::move(program), std::move(arguments)),
                          [&](const std::exception_ptr& error, int result) {
                              status = result;
                              if (error) {
                                  print("Fatal error: " + describe(error) + "\n");
                                  status = EXIT_FAILURE;
                              }
                              mainThread.stop();
                          });
    mainThread.run();
    return status;
}

}  // namespace

}  // namespace varkel

int main(int argc, char** argv) {
    // A peer or a reader of the output that has gone away is an error of that write, not the process's end.
    std::signal(SIGPIPE, SIG_IGN);
    // What started the agent may have ignored it, and then the system tells no child's exit status.
    std::signal(SIGCHLD, SIG_DFL);
    try {
        varkel::environment();
        // Scripts and launched applications inherit the environment; the token is not for them.
        ::unsetenv(varkel::tokenVariable);
        varkel::Platform::install(varkel::makeSystemPlatform());
        return varkel::run(argc > 0 ? argv[0] : "unknown",
                           std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
    } catch (const std::exception& error) {
        std::printf("Fatal error: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
