#include "http/FailureTable.h"

#include <algorithm>
#include <array>
#include <boost/json/object.hpp>

#include "http/JSONResponse.h"

namespace varkel {

namespace {

constexpr const char* internalError = "internal_error";

/// What the server answers where a route says nothing else. The last one is for every failure.
constexpr std::array<FailureRule, 6> serverFailures{{
    {Failure::badRequest, 400, badRequestCode},
    {Failure::invalidRequest, 500, internalError},
    {Failure::unauthorized, 401, "unauthorized"},
    {Failure::notFound, 404, "not_found"},
    {Failure::methodNotAllowed, 405, "method_not_allowed"},
    {Failure::other, 500, internalError, FailureRule::Detail::what},
}};

Failure failureOf(HTTPError::Case errorCase) {
    switch (errorCase) {
        case HTTPError::Case::invalidRequest:
            return Failure::invalidRequest;
        case HTTPError::Case::notFound:
            return Failure::notFound;
        case HTTPError::Case::methodNotAllowed:
            return Failure::methodNotAllowed;
        case HTTPError::Case::badRequest:
            return Failure::badRequest;
        case HTTPError::Case::unauthorized:
            return Failure::unauthorized;
    }
    return Failure::other;
}

const FailureRule* findRule(FailureTable table, Failure failure) {
    const auto found = std::ranges::find(table, failure, &FailureRule::failure);
    if (found != table.end()) return &*found;
    const auto other = std::ranges::find(table, Failure::other, &FailureRule::failure);
    return other == table.end() ? nullptr : &*other;
}

HTTPResponse answer(Failure failure, std::string_view what, FailureTable table) {
    const FailureRule* rule = findRule(table, failure);
    if (rule == nullptr) rule = findRule(serverFailures, failure);
    boost::json::object body{{"error", rule->code}};
    if (rule->detail == FailureRule::Detail::what) body["message"] = what;
    if (rule->detail == FailureRule::Detail::message) body["message"] = rule->text;
    if (rule->detail == FailureRule::Detail::hint) body["hint"] = rule->text;
    return jsonResponse(rule->status, body);
}

}  // namespace

HTTPResponse failureResponse(const std::exception_ptr& thrown, FailureTable table) {
    try {
        std::rethrow_exception(thrown);
    } catch (const HTTPError& error) {
        return answer(failureOf(error.errorCase()), error.what(), table);
    } catch (const std::exception& error) {
        return answer(Failure::other, error.what(), table);
    } catch (...) {
        return answer(Failure::other, "unknown error", table);
    }
}

HTTPResponse failureResponse(HTTPError::Case errorCase) {
    return answer(failureOf(errorCase), HTTPError::caseName(errorCase), {});
}

HTTPResponse badRequestResponse(std::string_view message) {
    boost::json::object body{{"error", badRequestCode}};
    if (!message.empty()) body["message"] = message;
    return jsonResponse(400, body);
}

}  // namespace varkel
