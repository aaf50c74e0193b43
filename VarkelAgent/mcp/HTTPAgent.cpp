#include <algorithm>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/json/serialize.hpp>
#include <utility>

#include "mcp/Agent.h"
#include "mcp/Text.h"

namespace varkel::mcp {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::uint64_t largestAnswer = 64 * 1024 * 1024;

http::request<http::string_body> messageOf(AgentRequest& request, std::uint16_t port,
                                           const std::string& token) {
    http::request<http::string_body> message;
    message.version(11);
    message.method(request.body ? http::verb::post : http::verb::get);
    message.target(request.path);
    message.set(http::field::host, concat("127.0.0.1:", port));
    message.set(http::field::connection, "close");
    message.set("x-varkel-token", token);
    if (request.body) {
        message.set(http::field::content_type, "application/json");
        message.body() = boost::json::serialize(*request.body);
        request.body.reset();
    }
    message.prepare_payload();
    return message;
}

Task<http::response<http::string_body>> readResponse(beast::tcp_stream& stream) {
    beast::flat_buffer buffer;
    while (true) {
        http::response_parser<http::string_body> parser;
        parser.body_limit(largestAnswer);
        co_await http::async_read(stream, buffer, parser, asio::use_awaitable);
        // Interim replies announce another one.
        if (parser.get().result_int() >= 200) co_return parser.release();
    }
}

std::string describeFailure(const boost::system::system_error& error, std::uint16_t port) {
    const std::string agent = concat("The agent on 127.0.0.1:", port);
    const auto code = error.code();
    if (code == asio::error::connection_refused) {
        return agent +
               " is not running. It is started with `varkel-agent install`, which also makes it start at "
               "every login; then call this tool again.";
    }
    if (code == beast::error::timeout) {
        return agent +
               " did not answer in time. It may be waiting for an application that hangs: what was asked "
               "may or may not have been done, so look first.";
    }
    if (code == http::error::body_limit) {
        return agent +
               " answered with more than can be taken: ask for less, with find and a narrower filter.";
    }
    return agent + " did not answer properly (" + code.message() +
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
    const auto message = messageOf(request, port_, token());
    beast::tcp_stream stream(co_await asio::this_coro::executor);
    const Call::Interruptible interruptible(call, [&stream] { stream.close(); });
    // Holds for all that follows: an answer that trickles in does not move it.
    if (limit) stream.expires_after(*limit);
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port_);
    co_await stream.async_connect(endpoint, asio::use_awaitable);
    co_await http::async_write(stream, message, asio::use_awaitable);

    auto response = co_await readResponse(stream);
    call.throwIfCancelled();
    co_return AgentAnswer{response.result_int(), std::move(response.body()),
                          response["X-Varkel-Cache"] != "HIT"};
}

}  // namespace varkel::mcp
