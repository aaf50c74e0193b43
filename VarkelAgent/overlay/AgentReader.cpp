#include "overlay/AgentReader.h"

#include <boost/asio/this_coro.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <chrono>
#include <exception>
#include <utility>

#include "client/HTTPClient.h"

namespace varkel::overlay {

namespace {

/// The person waits for the prompt meanwhile, and the agent for the person.
constexpr std::chrono::seconds patience(3);

/// A search without a filter finds the application's own element first, with all that is in it.
HTTPRequest requestFor(const std::optional<std::string>& batchId, const std::string& token) {
    boost::json::object query{{"maxResults", 1}};
    if (batchId) query["batch_id"] = *batchId;
    HTTPRequest request;
    request.method = "POST";
    request.path = "/ax/find";
    request.headers = {{"x-varkel-token", token}, {"content-type", "application/json"}};
    request.body = boost::json::serialize(query);
    return request;
}

bool fitsInHeader(const std::string& token) {
    return !token.empty() && token.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

Target failed(Target::State state) {
    Target target;
    target.state = state;
    return target;
}

}  // namespace

Task<Target> AgentReader::look(std::string elementId, std::optional<std::string> batchId) const {
    try {
        const std::string token = findToken_();
        if (!fitsInHeader(token)) co_return failed(Target::State::noToken);
        const HTTPRequest request = requestFor(batchId, token);
        HTTPClient client(co_await boost::asio::this_coro::executor, port_);
        const HTTPResponse response = co_await client.send(request, patience);
        if (response.status == 401) co_return failed(Target::State::noToken);
        if (response.status == 200) co_return findTarget(*response.body, elementId);
    } catch (const std::exception&) {
        co_return failed(Target::State::noAnswer);
    }
    co_return failed(Target::State::noAnswer);
}

Task<bool> AgentReader::isThere() const {
    try {
        HTTPRequest request;
        request.method = "GET";
        request.path = "/health";
        HTTPClient client(co_await boost::asio::this_coro::executor, port_);
        const HTTPResponse response = co_await client.send(request, patience);
        co_return response.status == 200;
    } catch (const std::exception&) {
        co_return false;
    }
}

}  // namespace varkel::overlay
