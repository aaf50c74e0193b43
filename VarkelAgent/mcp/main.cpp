#include <poll.h>
#include <unistd.h>

#include <array>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "base/Environment.h"
#include "base/IdleTimer.h"
#include "main/ClientOptions.h"
#include "main/Token.h"
#include "mcp/Agent.h"
#include "mcp/LineReader.h"
#include "mcp/Server.h"
#include "mcp/Tools.h"
#include "platform/Memory.h"
#include "platform/Screen.h"

namespace varkel::mcp {

namespace {

namespace asio = boost::asio;

/// Lines that have been read and not been looked at yet: a client that sends faster than it is served waits.
constexpr int mostWaitingLines = 16;

/// Long enough not to come between the calls of one task.
constexpr std::chrono::milliseconds idleBeforeRelease(200);

void waitUntilReady(int descriptor, short events) {
    pollfd waiting{descriptor, events, 0};
    ::poll(&waiting, 1, -1);
}

/// The pipes may have been made non-blocking at their other end.
bool mayGoOn(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    waitUntilReady(descriptor, events);
    return true;
}

/// Ends the process when the other end of the output has gone.
void writeLine(const std::string& line) {
    const std::string text = line + '\n';
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data() + written, text.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (!mayGoOn(STDOUT_FILENO, POLLOUT)) {
            std::_Exit(EXIT_FAILURE);
        }
    }
}

/// Reads the standard input on a thread of its own and hands its lines to the server on the executor's.
class Input {
  public:
    Input(asio::io_context& context, Server& server) : context_(context), server_(server) {}

    /// Returns when the input has ended.
    void read() {
        LineReader reader(longestLine);
        std::vector<char> bytes(65'536);
        while (true) {
            const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
            if (count < 0 && mayGoOn(STDIN_FILENO, POLLIN)) continue;
            if (count <= 0) break;
            hand(reader.feed({bytes.data(), static_cast<std::size_t>(count)}));
        }
        hand(reader.end());
        asio::post(context_, [this] { server_.finish([this] { context_.stop(); }); });
    }

  private:
    void hand(std::vector<Line> lines) {
        for (Line& line : lines) {
            room_.acquire();
            asio::post(context_, [this, line = std::move(line)] {
                line.tooLong ? server_.refuseLongLine() : server_.receive(line.text);
                room_.release();
            });
        }
    }

    asio::io_context& context_;
    Server& server_;
    std::counting_semaphore<mostWaitingLines> room_{mostWaitingLines};
};

std::string usage(const TokenSource& defaults) {
    return "Usage: varkel-mcp [options]\n"
           "Serves the Model Context Protocol on standard input and output, for the varkel-agent of this "
           "desktop.\n"
           "Options:\n" +
           clientOptionsUsage("--port", defaults);
}

void serve(const ClientOptions& options) {
    asio::io_context context(1);
    const auto guard = asio::make_work_guard(context);
    HTTPAgent agent(options.agentPort, [options] { return resolveToken(options); });
    const auto screen = makeSystemScreen();
    DesktopTools tools({agent, *screen});
    IdleTimer memoryRelease(context.get_executor(), idleBeforeRelease, releaseFreeMemory);
    Server server(context.get_executor(), tools, [&](const std::string& message) {
        writeLine(message);
        memoryRelease.touch();
    });
    Input input(context, server);
    std::thread reader([&input] { input.read(); });
    context.run();
    reader.join();
}

int run(const std::vector<std::string>& arguments) {
    const TokenSource defaults = defaultTokenSource(environment());
    const auto options = parseClientOptions(arguments, defaults);
    if (!options) {
        std::fputs(usage(defaults).c_str(), stderr);
        return EXIT_FAILURE;
    }
    if (options->help) {
        std::fputs(usage(defaults).c_str(), stdout);
        return EXIT_SUCCESS;
    }
    serve(*options);
    return EXIT_SUCCESS;
}

}  // namespace

}  // namespace varkel::mcp

int main(int argc, char** argv) {
    // A client that has gone away is an error of the next write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        varkel::keepMemorySmall();
        return varkel::mcp::run(std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "varkel-mcp: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
