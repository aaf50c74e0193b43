#include <algorithm>
#include <boost/asio/this_coro.hpp>
#include <boost/json/serialize.hpp>
#include <boost/system/system_error.hpp>
#include <utility>

#include "client/HTTPClient.h"
#include "mcp/Agent.h"
#include "mcp/Text.h"

namespace varkel::mcp {

namespace {

HTTPRequest messageOf(AgentRequest& request, const std::string& token) {
    HTTPRequest message;
    message.method = request.body ? "POST" : "GET";
    message.path = std::move(request.path);
    message.headers.emplace("x-varkel-token", token);
    if (request.body) {
        message.headers.emplace("content-type", "application/json");
        message.body = boost::json::serialize(*request.body);
        request.body.reset();
    }
    return message;
}

std::string describeFailure(const boost::system::system_error& error, std::uint16_t port) {
    const std::string agent = concat("The agent on 127.0.0.1:", port);
    const auto reason = classify(error.code());
    if (reason == ExchangeFailure::refused) {
        return agent +
               " is not running. It is started with `varkel-agent install`, which also makes it start at "
               "every login; then call this tool again.";
    }
    if (reason == ExchangeFailure::timedOut) {
        return agent +
               " did not answer in time. It may be waiting for an application that hangs: what was asked "
               "may or may not have been done, so look first.";
    }
    if (reason == ExchangeFailure::tooLong) {
        return agent +
               " answered with more than can be taken: ask for less, with find and a narrower filter.";
    }
    return agent + " did not answer properly (" + error.code().message() +
           "): look whether what was asked has been done before trying again.";
}

}  // namespace

HTTPAgent::HTTPAgent(std::uint16_t port, std::function<std::string()> findToken)
    : port_(port), findToken_(std::move(findToken)) {}

const std::string& HTTPAgent::token() {
    if (token_.empty()) token_ = findToken_();
    if (token_.empty()) {
        throw ToolError(
            "varkel-mcp has no token for the agent: the person must start it with --token-file and the file "
            "that "
            "the agent has its token from.");
    }
    const auto ends = [](char c) { return c == '\r' || c == '\n' || c == '\0'; };
    if (std::ranges::any_of(token_, ends))
        throw ToolError("varkel-mcp's token for the agent has several lines.");
    return token_;
}

Task<AgentAnswer> HTTPAgent::request(AgentRequest request, Call& call) {
    call.throwIfCancelled();
    std::string failure;
    try {
        AgentAnswer answer = co_await exchange(std::move(request), call);
        if (answer.status == 401) token_.clear();
        co_return answer;
    } catch (const boost::system::system_error& error) {
        failure = describeFailure(error, port_);
    }
    call.throwIfCancelled();
    throw ToolError(failure);
}

Task<AgentAnswer> HTTPAgent::exchange(AgentRequest request, Call& call) {
    const auto limit = request.limit;
    const auto message = messageOf(request, token());
    HTTPClient client(co_await boost::asio::this_coro::executor, port_);
    const Call::Interruptible interruptible(call, [&client] { client.close(); });
    const HTTPResponse response = co_await client.send(message, limit);
    call.throwIfCancelled();
    const std::string* cache = response.header("x-varkel-cache");
    const bool cached = cache != nullptr && *cache == "HIT";
    co_return AgentAnswer{static_cast<unsigned>(response.status), response.body, !cached};
}

}  // namespace varkel::mcp
