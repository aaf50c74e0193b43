#include "http/JSONDecoder.h"

#include <boost/json/parse.hpp>
#include <cmath>

namespace varkel::decoding {

namespace {

// No request record nests deeper than two; the rest is room for unknown keys.
constexpr std::size_t maxDepth = 64;

std::string describe(const Place& place) {
    std::string path;
    for (const Place* at = &place; at != nullptr && !at->key.empty(); at = at->parent) {
        if (!path.empty()) path.insert(0, 1, '.');
        path.insert(0, at->key);
    }
    return path.empty() ? "the body" : "the value of \"" + path + "\"";
}

std::string_view kindName(const boost::json::value& value) {
    switch (value.kind()) {
        case boost::json::kind::null:
            return "null";
        case boost::json::kind::bool_:
            return "a boolean";
        case boost::json::kind::int64:
        case boost::json::kind::uint64:
        case boost::json::kind::double_:
            return "a number";
        case boost::json::kind::string:
            return "a string";
        case boost::json::kind::array:
            return "an array";
        case boost::json::kind::object:
            return "an object";
    }
    return "";
}

/// A number as an integer of type T when it is one exactly.
template <class T>
std::optional<T> exactInteger(const boost::json::value& value) {
    if (value.is_int64() || value.is_uint64()) {
        boost::system::error_code error;
        const T number = value.to_number<T>(error);
        return error ? std::nullopt : std::optional<T>(number);
    }
    if (!value.is_double()) return std::nullopt;
    const double number = value.get_double();
    // Powers of two, exact as doubles: the first number above T's range and the lowest one in it.
    const double above = std::is_signed_v<T> ? 0x1p63 : 0x1p64;
    const double lowest = std::is_signed_v<T> ? -0x1p63 : 0.0;
    if (!(number >= lowest && number < above) || std::trunc(number) != number) return std::nullopt;
    return static_cast<T>(number);
}

}  // namespace

void failMissing(const Place& place) {
    throw DecodingError(describe(place) + " is missing");
}

void failType(const Place& place, std::string_view wanted, const boost::json::value& found) {
    throw DecodingError(describe(place) + " is " + std::string(kindName(found)) + ", not " +
                        std::string(wanted));
}

boost::json::value parse(std::string_view text) {
    boost::json::parse_options options;
    options.max_depth = maxDepth;
    boost::system::error_code error;
    boost::json::value value = boost::json::parse(text, error, {}, options);
    if (error) throw DecodingError("the body is not valid JSON: " + error.message());
    return value;
}

const boost::json::object& object(const boost::json::value& value, const Place& place) {
    if (!value.is_object()) failType(place, "an object", value);
    return value.get_object();
}

const boost::json::array& array(const boost::json::value& value, const Place& place) {
    if (!value.is_array()) failType(place, "an array", value);
    return value.get_array();
}

void read(std::string& out, const boost::json::value& value, const Place& place) {
    if (!value.is_string()) failType(place, "a string", value);
    out = std::string_view(value.get_string());
}

void read(bool& out, const boost::json::value& value, const Place& place) {
    if (!value.is_bool()) failType(place, "a boolean", value);
    out = value.get_bool();
}

void read(double& out, const boost::json::value& value, const Place& place) {
    if (!value.is_number()) failType(place, "a number", value);
    out = value.to_number<double>();
    if (!std::isfinite(out)) failType(place, "a finite number", value);
}

void read(std::int64_t& out, const boost::json::value& value, const Place& place) {
    const auto number = exactInteger<std::int64_t>(value);
    if (!number) failType(place, "an integer", value);
    out = *number;
}

void read(std::uint64_t& out, const boost::json::value& value, const Place& place) {
    const auto number = exactInteger<std::uint64_t>(value);
    if (!number) failType(place, "an unsigned integer", value);
    out = *number;
}

}  // namespace varkel::decoding
