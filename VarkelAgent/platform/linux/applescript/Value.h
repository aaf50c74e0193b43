#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace varkel::applescript {

/// An application by its name or by its identifier.
struct ApplicationName {
    std::string text;
    bool isIdentifier = false;

    friend bool operator==(const ApplicationName&, const ApplicationName&) = default;
};

/// A window of an application, by the desktop's number for it.
struct Window {
    ApplicationName application;
    std::uint64_t id = 0;

    friend bool operator==(const Window&, const Window&) = default;
};

/// std::monostate is the missing value. Texts are valid UTF-8.
using Value = std::variant<std::monostate, bool, std::int64_t, double, std::string, Window>;

/// The value as a text, as a person would read it.
std::string textOf(const Value& value);

/// The number that a value is, or that a text spells: an integer or a real. Throws ExecutionError.
Value numberOf(const Value& value);

/// Throws ExecutionError.
double realOf(const Value& value);

/// Throws ExecutionError for anything but true and false.
bool truthOf(const Value& value);

/// The number that this text spells, or the missing value.
Value parseNumber(std::string_view text);

}  // namespace varkel::applescript
