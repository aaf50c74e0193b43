#include "scripts/Shortcuts.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/BlockingPool.h"
#include "base/UnicodeText.h"
#include "http/JSONResponse.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

constexpr std::int64_t defaultTimeLimit = 15'000;
constexpr std::int64_t shortestTimeLimit = 1'000;

/// Between asking a Shortcut to end and making it.
constexpr milliseconds grace{200};

/// Longer than any computer runs; the clock cannot count to what a request may ask for.
constexpr std::int64_t forever = std::int64_t{1000} * 60 * 60 * 24 * 365 * 100;

HTTPResponse couldNotRun(const std::runtime_error& error) {
    return jsonResponse(500, {{"error", "shortcut_failed"}, {"message", error.what()}});
}

HTTPResponse answerForRun(ChildResult result) {
    std::string output = validUTF8OrEmpty(std::move(result.standardOutput));
    if (result.status == 0) return jsonResponse(200, {{"ok", true}, {"output", std::move(output)}});
    return jsonResponse(500, {{"error", "shortcut_failed"},
                              {"exitCode", result.status},
                              {"stderr", validUTF8OrEmpty(std::move(result.standardError))},
                              {"stdout", std::move(output)}});
}

HTTPResponse runBlockingly(ShortcutRequest request) {
    const std::int64_t limit = std::max(request.timeoutMs.value_or(defaultTimeLimit), shortestTimeLimit);
    ChildCommand command;
    command.executable = Platform::current().toolPaths->shortcuts();
    command.arguments = {"run", request.name};
    command.input = std::move(request.input);
    try {
        ChildProcess process(std::move(command));
        if (waitForProcessExit(process, limit)) return answerForRun(*process.wait());
        process.stop(grace);
    } catch (const std::runtime_error& error) {
        return couldNotRun(error);
    }
    return jsonResponse(504, {{"error", "shortcut_timeout"}, {"name", request.name}, {"elapsed_ms", limit}});
}

/// The names in the tool's output, one a line.
boost::json::array namesIn(std::string_view output) {
    boost::json::array names;
    while (!output.empty()) {
        const std::size_t end = std::min(output.find('\n'), output.size());
        const std::string_view name = trimmedOfWhiteSpace(output.substr(0, end));
        if (!name.empty()) names.emplace_back(name);
        output.remove_prefix(std::min(end + 1, output.size()));
    }
    return names;
}

HTTPResponse answerForList(ChildResult result) {
    if (result.status != 0) {
        return jsonResponse(500, {{"error", "shortcut_failed"},
                                  {"exitCode", result.status},
                                  {"stderr", validUTF8OrEmpty(std::move(result.standardError))}});
    }
    const std::string output = validUTF8OrEmpty(std::move(result.standardOutput));
    return jsonResponse(200, {{"ok", true}, {"shortcuts", namesIn(output)}});
}

HTTPResponse listBlockingly() {
    ChildCommand command;
    command.executable = Platform::current().toolPaths->shortcuts();
    command.arguments = {"list"};
    try {
        return answerForList(runChild(std::move(command)));
    } catch (const std::runtime_error& error) {
        return couldNotRun(error);
    }
}

}  // namespace

bool waitForProcessExit(ChildProcess& process, std::int64_t timeoutMs) {
    if (timeoutMs > forever) return process.wait().has_value();
    return process.wait(ChildProcess::Clock::now() + milliseconds(std::max<std::int64_t>(timeoutMs, 0)))
        .has_value();
}

Task<HTTPResponse> runShortcut(ShortcutRequest request) {
    const auto work = [&] { return runBlockingly(std::move(request)); };
    co_return co_await runBlocking(work, BlockingPool::forChildren());
}

Task<HTTPResponse> listShortcuts(HTTPRequest) {
    const auto work = [] { return listBlockingly(); };
    co_return co_await runBlocking(work, BlockingPool::forChildren());
}

}  // namespace varkel
