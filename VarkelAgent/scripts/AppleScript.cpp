#include "scripts/AppleScript.h"

#include <boost/json/object.hpp>
#include <stdexcept>
#include <utility>

#include "base/BlockingPool.h"
#include "base/UnicodeText.h"
#include "http/JSONResponse.h"
#include "platform/ChildProcess.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

HTTPResponse answerFor(ChildResult result) {
    std::string output = validUTF8OrEmpty(std::move(result.standardOutput));
    if (result.status == 0) {
        return jsonResponse(200, {{"ok", true}, {"output", trimmedOfWhiteSpace(output)}});
    }
    return jsonResponse(500, {{"error", "applescript_failed"},
                              {"exitCode", result.status},
                              {"stderr", validUTF8OrEmpty(std::move(result.standardError))},
                              {"stdout", std::move(output)}});
}

HTTPResponse runBlockingly(std::string script) {
    ChildCommand command;
    command.executable = Platform::current().toolPaths->osascript();
    command.arguments = {"-"};
    command.input = std::move(script);
    try {
        return answerFor(runChild(std::move(command)));
    } catch (const std::runtime_error& error) {
        return jsonResponse(500, {{"error", "applescript_failed"}, {"message", error.what()}});
    }
}

}  // namespace

Task<HTTPResponse> runAppleScript(AppleScriptRequest request) {
    const auto work = [&] { return runBlockingly(std::move(request.script)); };
    co_return co_await runBlocking(work, BlockingPool::forChildren());
}

}  // namespace varkel
