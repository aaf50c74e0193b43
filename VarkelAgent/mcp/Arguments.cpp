#include "mcp/Arguments.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <cmath>
#include <utility>

#include "mcp/Call.h"
#include "mcp/Text.h"

namespace varkel::mcp {

namespace json = boost::json;

namespace {

constexpr double largestInteger = 9e15;

const char* nameOf(Argument::Type type) {
    switch (type) {
        case Argument::Type::text:
            return "a text";
        case Argument::Type::integer:
            return "an integer";
        case Argument::Type::number:
            return "a number";
        case Argument::Type::flag:
            return "true or false";
        case Argument::Type::texts:
            return "an array of texts";
    }
    return "";
}

bool hasType(const json::value& value, Argument::Type type) {
    switch (type) {
        case Argument::Type::text:
            return value.is_string();
        case Argument::Type::integer:
        case Argument::Type::number:
            return value.is_number();
        case Argument::Type::flag:
            return value.is_bool();
        case Argument::Type::texts:
            return value.is_array() && std::ranges::all_of(value.get_array(), [](const json::value& each) {
                       return each.is_string();
                   });
    }
    return false;
}

[[noreturn]] void failType(const Argument& argument) {
    std::string sentence = std::string("The argument ") + argument.name + " must be " + nameOf(argument.type);
    if (argument.least > 0) sentence += concat(" of at least ", argument.least);
    for (bool first = true; const char* choice : argument.choices) {
        sentence += std::string(std::exchange(first, false) ? ": " : ", ") + choice;
    }
    throw ToolError(sentence + ".");
}

void checkNumber(json::value& value, const Argument& argument) {
    const double number = value.to_number<double>();
    if (!(std::abs(number) <= largestInteger)) failType(argument);
    if (argument.type == Argument::Type::integer) {
        if (number != std::trunc(number)) failType(argument);
        value = static_cast<std::int64_t>(number);
    }
    if (number < static_cast<double>(argument.least)) failType(argument);
}

void check(json::value& value, const Argument& argument) {
    if (!hasType(value, argument.type)) failType(argument);
    if (value.is_number()) checkNumber(value, argument);
    const auto isGiven = [&](const char* choice) { return value.get_string() == choice; };
    if (!argument.choices.empty() && std::ranges::none_of(argument.choices, isGiven)) failType(argument);
}

[[noreturn]] void failUnknown(std::string_view name, std::span<const Argument> known) {
    std::string sentence = concat("There is no argument ", quoted(name, 50), "; the arguments are ");
    for (bool first = true; const Argument& each : known) {
        sentence += std::string(std::exchange(first, false) ? "" : ", ") + each.name;
    }
    throw ToolError(known.empty() ? "This tool takes no arguments." : sentence + ".");
}

json::object schemaOf(const Argument& argument) {
    json::object schema;
    switch (argument.type) {
        case Argument::Type::text:
            schema = {{"type", "string"}};
            break;
        case Argument::Type::integer:
            schema = {{"type", "integer"}};
            break;
        case Argument::Type::number:
            schema = {{"type", "number"}};
            break;
        case Argument::Type::flag:
            schema = {{"type", "boolean"}};
            break;
        case Argument::Type::texts:
            schema = {{"type", "array"}, {"items", json::object{{"type", "string"}}}};
            break;
    }
    if (argument.least > 0) schema.emplace("minimum", argument.least);
    if (!argument.choices.empty()) {
        json::array choices;
        for (const char* choice : argument.choices) choices.emplace_back(choice);
        schema.emplace("enum", std::move(choices));
    }
    if (*argument.description != '\0') schema.emplace("description", argument.description);
    return schema;
}

}  // namespace

Arguments::Arguments(std::span<const Argument> known, const json::object& given) {
    for (const auto& [name, asGiven] : given) {
        if (asGiven.is_null()) continue;
        const std::string_view givenName = name;
        const auto found =
            std::ranges::find_if(known, [&](const Argument& each) { return givenName == each.name; });
        if (found == known.end()) failUnknown(givenName, known);
        json::value value = asGiven;
        check(value, *found);
        given_.emplace(name, std::move(value));
    }
    for (const Argument& each : known) {
        if (each.presence == Argument::Presence::required && !given_.contains(each.name)) {
            throw ToolError(std::string("The argument ") + each.name + " is missing.");
        }
    }
}

std::optional<std::string> Arguments::text(std::string_view name) const {
    const json::value* value = given_.if_contains(name);
    if (value == nullptr) return std::nullopt;
    return std::string(value->get_string());
}

std::optional<std::int64_t> Arguments::integer(std::string_view name) const {
    const json::value* value = given_.if_contains(name);
    if (value == nullptr) return std::nullopt;
    return value->get_int64();
}

bool Arguments::flag(std::string_view name) const {
    const json::value* value = given_.if_contains(name);
    return value != nullptr && value->get_bool();
}

json::object Arguments::pick(std::span<const std::string_view> names) const {
    json::object picked;
    for (const std::string_view name : names) {
        if (const json::value* value = given_.if_contains(name)) picked.emplace(name, *value);
    }
    return picked;
}

json::object inputSchema(std::span<const Argument> arguments) {
    json::object properties;
    json::array required;
    for (const Argument& each : arguments) {
        properties.emplace(each.name, schemaOf(each));
        if (each.presence == Argument::Presence::required) required.emplace_back(each.name);
    }
    json::object schema{{"type", "object"}, {"properties", std::move(properties)}};
    if (!required.empty()) schema.emplace("required", std::move(required));
    schema.emplace("additionalProperties", false);
    return schema;
}

}  // namespace varkel::mcp
