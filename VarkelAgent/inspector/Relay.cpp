#include "inspector/Relay.h"

#include <algorithm>
#include <array>
#include <boost/asio/this_coro.hpp>
#include <boost/system/system_error.hpp>
#include <utility>

#include "client/HTTPClient.h"
#include "http/JSONResponse.h"

namespace varkel::inspector {

namespace {

using std::chrono::seconds;

constexpr seconds reading(60);
// The agent may ask the person first, who has two minutes.
constexpr seconds acting(180);

constexpr std::array routes{
    HandedOn{"GET", "/health", seconds(5)},  HandedOn{"POST", "/ax/tree", reading},
    HandedOn{"POST", "/ax/find", reading},   HandedOn{"POST", "/ax/click", acting},
    HandedOn{"POST", "/ax/type", acting},    HandedOn{"POST", "/ax/scroll", acting},
    HandedOn{"POST", "/keystrokes", acting}, HandedOn{"POST", "/batch/begin", reading},
    HandedOn{"POST", "/batch/end", reading},
};

HTTPResponse failure(int status, const char* error, std::string message) {
    return jsonResponse(status, {{"error", error}, {"message", std::move(message)}});
}

HTTPResponse describeFailure(const boost::system::error_code& error, std::uint16_t port) {
    const std::string agent = "The agent on 127.0.0.1:" + std::to_string(port);
    switch (classify(error)) {
        case ExchangeFailure::refused:
            return failure(502, "agent_not_running", agent + " is not running.");
        case ExchangeFailure::timedOut:
            return failure(504, "agent_timeout",
                           agent + " did not answer in time; what was asked may or may not have been done.");
        case ExchangeFailure::tooLong:
            return failure(502, "answer_too_long", agent + " answered with more than can be taken.");
        case ExchangeFailure::other:
            break;
    }
    return failure(502, "agent_failed", agent + " did not answer properly: " + error.message() + ".");
}

/// What the page is to have of an answer.
HTTPResponse answerOf(const HTTPResponse& answer) {
    HTTPResponse response = jsonTextResponse(answer.status, answer.body);
    if (const std::string* cache = answer.header("x-varkel-cache")) {
        response.setHeader("X-Varkel-Cache", *cache == "HIT" ? "HIT" : "MISS");
    }
    return response;
}

bool isOneLine(std::string_view token) {
    return token.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

}  // namespace

const HandedOn* findHandedOn(std::string_view method, std::string_view path) {
    const auto found = std::ranges::find_if(
        routes, [&](const HandedOn& route) { return route.method == method && route.path == path; });
    return found == routes.end() ? nullptr : &*found;
}

Relay::Relay(std::uint16_t agentPort, std::function<std::string()> findToken)
    : agentPort_(agentPort), findToken_(std::move(findToken)) {}

std::string Relay::token() {
    const std::lock_guard lock(mutex_);
    if (token_.empty()) token_ = findToken_();
    return token_;
}

void Relay::forgetToken() {
    const std::lock_guard lock(mutex_);
    token_.clear();
}

Task<HTTPResponse> Relay::send(std::string method, std::string path, std::string body, seconds limit) {
    std::string secret = token();
    if (secret.empty() || !isOneLine(secret)) {
        co_return failure(502, "no_token",
                          "varkel-inspector has no token for the agent: start it with --token-file and the "
                          "file that the agent has its token from.");
    }
    HTTPRequest message;
    message.method = std::move(method);
    message.path = std::move(path);
    message.headers.emplace("x-varkel-token", std::move(secret));
    message.headers.emplace("content-type", "application/json");
    message.body = std::move(body);
    HTTPClient client(co_await boost::asio::this_coro::executor, agentPort_);
    try {
        const HTTPResponse answer = co_await client.send(message, limit);
        if (answer.status == 401) forgetToken();
        co_return answerOf(answer);
    } catch (const boost::system::system_error& error) {
        co_return describeFailure(error.code(), agentPort_);
    }
}

}  // namespace varkel::inspector
