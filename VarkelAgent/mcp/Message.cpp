#include "mcp/Message.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cmath>
#include <cstdint>
#include <utility>

namespace varkel::mcp {

namespace json = boost::json;

namespace {

constexpr std::size_t deepest = 64;
/// Up to here a real number holds every integer.
constexpr double exactIntegers = 9'007'199'254'740'992.0;

/// The id, if it is one; 7.0 is the integer 7.
std::optional<json::value> readId(const json::value& value) {
    if (value.is_string() || value.is_int64() || value.is_uint64()) return value;
    const double* number = value.if_double();
    if (number == nullptr || std::abs(*number) > exactIntegers || *number != std::trunc(*number)) {
        return std::nullopt;
    }
    return json::value(static_cast<std::int64_t>(*number));
}

ProtocolError invalid(std::optional<json::value> id, const char* message) {
    return {std::move(id), ErrorCode::invalidRequest, message, {}};
}

Message readObject(json::object& object) {
    std::optional<json::value> id;
    const json::value* givenId = object.if_contains("id");
    if (givenId != nullptr) id = readId(*givenId);

    const json::value* version = object.if_contains("jsonrpc");
    if (version == nullptr || *version != "2.0") return invalid(id, "\"jsonrpc\" must be \"2.0\"");
    const json::value* method = object.if_contains("method");
    if (method == nullptr) {
        if (object.contains("result") || object.contains("error")) return Response{};
        return invalid(id, "a request has a \"method\"");
    }
    if (!method->is_string()) return invalid(id, "\"method\" must be a text");
    if (givenId != nullptr && !id) return invalid({}, "\"id\" must be a text or an integer");

    Request request{std::move(id), std::string(method->get_string()), {}};
    if (json::value* params = object.if_contains("params")) {
        if (!params->is_object()) {
            return ProtocolError{request.id, ErrorCode::invalidParams, "\"params\" must be an object", {}};
        }
        request.params = std::move(params->get_object());
    }
    return request;
}

}  // namespace

Message readMessage(std::string_view line) {
    json::parse_options options;
    options.max_depth = deepest;
    json::error_code error;
    json::value value = json::parse(line, error, {}, options);
    if (error) return ProtocolError{{}, ErrorCode::parseError, "not JSON: " + error.message(), {}};
    if (value.is_array()) return invalid({}, "batches are not served: send one message a line");
    if (!value.is_object()) return invalid({}, "a message is an object");
    return readObject(value.get_object());
}

std::string resultLine(const json::value& id, json::object result) {
    return json::serialize(json::object{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

std::string errorLine(const ProtocolError& error) {
    json::object line{{"jsonrpc", "2.0"}};
    // The protocol's ids are never null: an error that belongs to no request has none.
    if (error.id) line.emplace("id", *error.id);
    json::object details{{"code", static_cast<int>(error.code)}, {"message", error.message}};
    if (error.data) details.emplace("data", *error.data);
    line.emplace("error", std::move(details));
    return json::serialize(line);
}

std::string notificationLine(std::string_view method, json::object params) {
    return json::serialize(
        json::object{{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
}

}  // namespace varkel::mcp
