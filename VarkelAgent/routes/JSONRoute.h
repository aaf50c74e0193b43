#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "base/Task.h"
#include "http/FailureTable.h"
#include "http/HTTPServer.h"
#include "http/JSONBody.h"
#include "json/JSONDecoder.h"
#include "routes/Consent.h"

namespace varkel {

/// What a route says of a body that does not decode, beside the code.
enum class BadBody {
    nothing,
    /// What the decoder has found.
    reason,
    /// "Invalid JSON body".
    invalidJSON,
    /// It counts as an empty record.
    accepted,
};

/// What a route asks the person once its body is understood.
template <class Record>
struct ConsentQuestion {
    std::optional<OverlayClient> overlay;
    std::string_view action;
    /// The member of the body that names what is acted upon.
    std::string Record::*target;
    /// What is told of the record to a service that asks for details.
    boost::json::object (*details)(const Record&);
};

namespace detail {

template <class Record>
struct JSONRoute {
    BadBody badBody;
    FailureTable failures;
    std::optional<ConsentQuestion<Record>> question;
    std::function<Task<HTTPResponse>(Record, RequestClient*)> handler;
};

HTTPResponse badBodyResponse(BadBody badBody, const DecodingError& error);

template <class Record>
Task<boost::json::object> detailsOf(const ConsentQuestion<Record>& question, const Record& record) {
    co_return question.details(record);
}

template <class Record>
Task<HTTPResponse> decodeAskAndCall(const JSONRoute<Record>& route, const HTTPRequest& request) {
    Record record;
    try {
        record = co_await decodeBody<Record>(request);
    } catch (const DecodingError& error) {
        if (route.badBody != BadBody::accepted) co_return badBodyResponse(route.badBody, error);
    }
    if (route.question) {
        const ConsentQuestion<Record>& question = *route.question;
        std::string target = record.*question.target;
        DetailsOfAction details = [&]() -> Task<boost::json::object> { return detailsOf(question, record); };
        auto refusal = co_await checkDestructiveConsent(request, question.overlay, question.action,
                                                        std::move(target), std::move(details));
        if (refusal) co_return *std::move(refusal);
    }
    co_return co_await route.handler(std::move(record), request.client);
}

template <class Record>
Task<boost::json::object> detailsOfBody(boost::json::object (*details)(const Record&),
                                        const HTTPRequest& request) {
    try {
        co_return details(co_await decodeBody<Record>(request));
    } catch (const DecodingError&) {
        co_return boost::json::object{{"malformed", true}};
    }
}

template <class Record>
Task<HTTPResponse> serve(std::shared_ptr<const JSONRoute<Record>> route, HTTPRequest request) {
    std::exception_ptr failure;
    try {
        co_return co_await decodeAskAndCall(*route, request);
    } catch (...) {
        failure = std::current_exception();
    }
    co_return failureResponse(failure, route->failures);
}

}  // namespace detail

/// The route of an endpoint that takes a JSON body: decodes it once, asks the person where there is a
/// question, calls `handler` with the record (and with the client, if it takes one), and answers what goes
/// wrong on the way by the table.
template <class Record, class Handler>
RouteHandler jsonRoute(BadBody badBody, FailureTable failures, Handler handler,
                       std::optional<ConsentQuestion<Record>> question = std::nullopt) {
    auto route = std::make_shared<detail::JSONRoute<Record>>();
    route->badBody = badBody;
    route->failures = failures;
    route->question = std::move(question);
    if constexpr (std::is_invocable_v<Handler, Record, RequestClient*>) {
        route->handler = std::move(handler);
    } else {
        route->handler = [handler = std::move(handler)](Record record, RequestClient*) {
            return handler(std::move(record));
        };
    }
    return [route = std::shared_ptr<const detail::JSONRoute<Record>>(std::move(route))](HTTPRequest request) {
        return detail::serve<Record>(route, std::move(request));
    };
}

/// What is told of a request whose body has not been read; the request outlives the task.
using DetailsOfRequest = std::function<Task<boost::json::object>(const HTTPRequest&)>;

/// Tells what `details` makes of the body, and of one that is no such record that it is malformed.
template <class Record>
DetailsOfRequest detailsOfBody(boost::json::object (*details)(const Record&)) {
    return [details](const HTTPRequest& request) { return detail::detailsOfBody<Record>(details, request); };
}

/// A route before which the person is asked, whatever the body says.
RouteHandler askingFirst(std::optional<OverlayClient> overlay, std::string_view action,
                         std::optional<std::string> target, DetailsOfRequest details, RouteHandler route);

}  // namespace varkel
