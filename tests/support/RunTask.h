#pragma once

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "routes/Routes.h"

namespace varkel::test {

/// Runs asynchronous work to its end on the calling thread and gives what it yields.
template <class T>
T runTask(Task<T> task) {
    boost::asio::io_context context;
    std::promise<T> result;
    boost::asio::co_spawn(context, std::move(task), [&](const std::exception_ptr& failure, auto... value) {
        failure ? result.set_exception(failure) : result.set_value(std::move(value)...);
    });
    context.run();
    return result.get_future().get();
}

/// What the agent's endpoint at `path` answers a request with this body, where consent is not asked for.
inline HTTPResponse answerOf(std::string_view path, const std::string& body) {
    const auto all = endpoints(std::nullopt);
    HTTPRequest request;
    request.body = body;
    return runTask(std::ranges::find(all, path, &Endpoint::path)->handler(std::move(request)));
}

/// A header of a response; empty when it has none.
inline std::string headerOf(const HTTPResponse& response, std::string_view wanted) {
    for (const auto& [name, value] : response.headers) {
        if (name == wanted) return value;
    }
    return "";
}

/// The status and the body of a response, in one text.
inline std::string statusAndBody(const HTTPResponse& response) {
    return std::to_string(response.status) + " " + *response.body;
}

}  // namespace varkel::test
