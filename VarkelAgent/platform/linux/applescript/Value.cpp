#include "platform/linux/applescript/Value.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "base/ParseInteger.h"
#include "base/UnicodeText.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

template <class... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

template <class Number>
std::string digitsOf(Number number) {
    std::array<char, 64> room;
    const auto end = std::to_chars(room.data(), room.data() + room.size(), number).ptr;
    return {room.data(), end};
}

/// A real shows that it is one: 3.0 and not 3.
std::string realText(double number) {
    std::string text = digitsOf(number);
    if (std::isfinite(number) && text.find_first_of(".e") == std::string::npos) text += ".0";
    return text;
}

ExecutionError cannotMake(const Value& value, const char* kind) {
    constexpr std::size_t longest = 100;
    std::string shown = textOf(value);
    if (shown.size() > longest) shown = "the text";
    return {"Can't make \"" + shown + "\" into type " + kind + ".", ExecutionError::wrongKind};
}

}  // namespace

std::string textOf(const Value& value) {
    return std::visit(Overloaded{
                          [](std::monostate) { return std::string("missing value"); },
                          [](bool truth) { return std::string(truth ? "true" : "false"); },
                          [](std::int64_t number) { return digitsOf(number); },
                          [](double number) { return realText(number); },
                          [](const std::string& text) { return text; },
                          [](const Window& window) { return "window id " + digitsOf(window.id); },
                      },
                      value);
}

Value parseNumber(std::string_view text) {
    if (const auto integer = parseInteger<std::int64_t>(text)) return *integer;
    if (text.starts_with("+-")) return {};
    if (text.starts_with('+')) text.remove_prefix(1);
    const char* end = text.data() + text.size();
    double real = 0;
    const auto parsed = std::from_chars(text.data(), end, real);
    if (parsed.ec == std::errc() && parsed.ptr == end && std::isfinite(real)) return real;
    return {};
}

Value numberOf(const Value& value) {
    if (std::holds_alternative<std::int64_t>(value) || std::holds_alternative<double>(value)) return value;
    if (const auto* text = std::get_if<std::string>(&value)) {
        Value number = parseNumber(trimmedOfWhiteSpace(*text));
        if (!std::holds_alternative<std::monostate>(number)) return number;
    }
    throw cannotMake(value, "number");
}

double realOf(const Value& value) {
    const Value number = numberOf(value);
    if (const auto* integer = std::get_if<std::int64_t>(&number)) return static_cast<double>(*integer);
    return std::get<double>(number);
}

bool truthOf(const Value& value) {
    if (const auto* truth = std::get_if<bool>(&value)) return *truth;
    throw cannotMake(value, "boolean");
}

}  // namespace varkel::applescript
