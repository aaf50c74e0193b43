#include "json/JSONDecoder.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <system_error>

#include "base/ParseInteger.h"

namespace varkel::decoding {

namespace {

std::string describe(const Place& place) {
    std::string path;
    for (const Place* at = &place; at != nullptr && !at->key.empty(); at = at->parent) {
        if (!path.empty()) path.insert(0, 1, '.');
        path.insert(0, at->key);
    }
    return path.empty() ? "the body" : "the value of \"" + path + "\"";
}

std::string_view kindName(JSONText::Kind kind) {
    switch (kind) {
        case JSONText::Kind::null:
            return "null";
        case JSONText::Kind::boolean:
            return "a boolean";
        case JSONText::Kind::number:
            return "a number";
        case JSONText::Kind::string:
            return "a string";
        case JSONText::Kind::array:
            return "an array";
        case JSONText::Kind::object:
            return "an object";
    }
    return "";
}

void requireKind(JSONText::Kind kind, const JSONText& value, const Place& place) {
    if (value.kind() != kind) failType(place, kindName(kind), value);
}

/// The double nearest to a number's text; infinity beyond the largest one.
double nearestDouble(std::string_view digits) {
    double number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (result.ec != std::errc::result_out_of_range) return number;
    // It does not say on which side.
    return std::strtod(std::string(digits).c_str(), nullptr);
}

/// A number as an integer of type T when it is one exactly.
template <class T>
std::optional<T> exactInteger(const JSONText& value) {
    if (value.kind() != JSONText::Kind::number) return std::nullopt;
    const std::string_view digits = value.text();
    if (const auto integer = parseInteger<T>(digits)) return integer;
    // Beyond T's range, or written as a real.
    const double number = nearestDouble(digits);
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

void failType(const Place& place, std::string_view wanted, const JSONText& found) {
    throw DecodingError(describe(place) + " is " + std::string(kindName(found.kind())) + ", not " +
                        std::string(wanted));
}

JSONText parse(std::string_view text) {
    try {
        return JSONText::parse(text);
    } catch (const JSONSyntaxError& error) {
        throw DecodingError(std::string("the body is not valid JSON: ") + error.what());
    }
}

JSONItems object(const JSONText& value, const Place& place) {
    requireKind(JSONText::Kind::object, value, place);
    return JSONItems(value);
}

JSONItems array(const JSONText& value, const Place& place) {
    requireKind(JSONText::Kind::array, value, place);
    return JSONItems(value);
}

void findFields(Fields& fields, const JSONText& value, const Place& place) {
    JSONItems members = object(value, place);
    while (const auto member = members.nextMember()) {
        const auto field = fields.find(member->key.string());
        if (field != fields.end()) field->second = member->value;
    }
}

void read(std::string& out, const JSONText& value, const Place& place) {
    requireKind(JSONText::Kind::string, value, place);
    out = value.string();
}

void read(bool& out, const JSONText& value, const Place& place) {
    requireKind(JSONText::Kind::boolean, value, place);
    out = value.text() == "true";
}

void read(double& out, const JSONText& value, const Place& place) {
    requireKind(JSONText::Kind::number, value, place);
    out = nearestDouble(value.text());
    if (!std::isfinite(out)) failType(place, "a finite number", value);
}

void read(std::int64_t& out, const JSONText& value, const Place& place) {
    const auto number = exactInteger<std::int64_t>(value);
    if (!number) failType(place, "an integer", value);
    out = *number;
}

void read(std::uint64_t& out, const JSONText& value, const Place& place) {
    const auto number = exactInteger<std::uint64_t>(value);
    if (!number) failType(place, "an unsigned integer", value);
    out = *number;
}

}  // namespace varkel::decoding
