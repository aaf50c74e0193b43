#pragma once

#include <exception>
#include <span>
#include <string_view>

#include "http/HTTPMessage.h"

namespace varkel {

/// What can go wrong with a request: a case of HTTPError, or anything else. A rule for `other` also takes the
/// cases that its table has no rule for.
enum class Failure { badRequest, invalidRequest, unauthorized, notFound, methodNotAllowed, other };

/// The error of a request that cannot be meant.
inline constexpr std::string_view badRequestCode = "bad_request";

/// How a route answers one kind of failure: {"error": code} and what `detail` adds.
struct FailureRule {
    enum class Detail {
        none,
        /// "message": what the exception says.
        what,
        /// "message": `text`.
        message,
        /// "hint": `text`.
        hint,
    };

    Failure failure = Failure::other;
    int status = 500;
    std::string_view code;
    Detail detail = Detail::none;
    std::string_view text = {};
};

/// The first rule for a failure counts. Static storage.
using FailureTable = std::span<const FailureRule>;

/// The answer to an exception by a route's table, and by the server's own for what that does not name. Any
/// thread.
HTTPResponse failureResponse(const std::exception_ptr& thrown, FailureTable table = {});

/// The server's own answer to an HTTPError. Any thread.
HTTPResponse failureResponse(HTTPError::Case errorCase);

/// The answer to a request that cannot be meant, with a reason for a person unless it is empty. Any thread.
HTTPResponse badRequestResponse(std::string_view message = {});

}  // namespace varkel
