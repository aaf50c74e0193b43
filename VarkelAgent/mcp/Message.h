#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace varkel::mcp {

/// The protocol's error codes.
enum class ErrorCode {
    parseError = -32700,
    invalidRequest = -32600,
    methodNotFound = -32601,
    invalidParams = -32602,
    unsupportedVersion = -32022,
};

/// A request when it has an id, else a notification.
struct Request {
    /// A text or an integer.
    std::optional<boost::json::value> id;
    std::string method;
    boost::json::object params;
};

/// Why a line is neither, or why a request cannot be served.
struct ProtocolError {
    /// Absent when the line does not say which request it is.
    std::optional<boost::json::value> id;
    ErrorCode code = ErrorCode::invalidRequest;
    std::string message;
    std::optional<boost::json::value> data;
};

/// An answer to a request of ours; there are none, so it is of no use.
struct Response {};

using Message = std::variant<Request, Response, ProtocolError>;

/// Reads one line. Any thread; does not throw.
Message readMessage(std::string_view line);

/// A line to send, without its line feed. Any thread.
std::string resultLine(const boost::json::value& id, boost::json::object result);
std::string errorLine(const ProtocolError& error);
std::string notificationLine(std::string_view method, boost::json::object params);

}  // namespace varkel::mcp
