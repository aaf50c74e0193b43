#include "platform/linux/login/LoginItem.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cctype>

#include "base/UnicodeText.h"
#include "platform/PropertyList.h"

namespace varkel {

namespace {

namespace json = boost::json;

constexpr std::size_t longestLabel = 128;
constexpr std::size_t mostArguments = 256;
constexpr std::size_t mostVariables = 256;

bool isLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

[[noreturn]] void refuse(std::string_view key, const std::string& why) {
    throw LoginItemError(std::string(key) + " " + why);
}

const json::value* member(const json::object& list, std::string_view key) {
    return list.if_contains(key);
}

/// None of the files that are written later can hold a line break within a value.
std::string textOf(std::string_view key, const json::value& value) {
    const auto* text = value.if_string();
    if (text == nullptr) refuse(key, "is not a text");
    const bool hasControls = std::any_of(text->begin(), text->end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == '\x7F';
    });
    if (hasControls) refuse(key, "holds a line break or another control character");
    std::string copy(*text);
    if (!isTextForUnits(copy)) refuse(key, "holds a noncharacter of Unicode");
    return copy;
}

bool truthOf(const json::object& list, std::string_view key) {
    const json::value* value = member(list, key);
    if (value == nullptr) return false;
    if (!value->is_bool()) refuse(key, "is neither true nor false");
    return value->get_bool();
}

/// At least two parts. The system's own units mostly have names of one, and a user's unit of the same name
/// would stand in for the system's.
bool isReverseDNS(std::string_view label) {
    const bool isPlain = std::all_of(label.begin(), label.end(), [](char c) {
        return isLetterOrDigit(c) || c == '.' || c == '-' || c == '_';
    });
    return isPlain && !label.empty() && isLetterOrDigit(label.front()) && label.back() != '.' &&
           label.find('.') != std::string_view::npos && label.find("..") == std::string_view::npos;
}

std::string labelOf(const json::object& list) {
    constexpr std::string_view key = "Label";
    const json::value* value = member(list, key);
    if (value == nullptr) refuse(key, "is missing");
    std::string label = textOf(key, *value);
    if (label.size() > longestLabel || !isReverseDNS(label)) refuse(key, "is no reverse-DNS name");
    return label;
}

std::vector<std::string> argumentsOf(const json::object& list) {
    constexpr std::string_view key = "ProgramArguments";
    const json::value* value = member(list, key);
    const auto* array = value == nullptr ? nullptr : value->if_array();
    if (array == nullptr || array->empty()) refuse(key, "is not a list with a program");
    if (array->size() > mostArguments) refuse(key, "is too long");
    std::vector<std::string> arguments;
    for (const json::value& entry : *array) arguments.push_back(textOf(key, entry));
    if (!arguments.front().starts_with('/')) refuse(key, "does not begin with the full path of a program");
    return arguments;
}

std::optional<std::string> logOf(const json::object& list, std::string_view key) {
    const json::value* value = member(list, key);
    if (value == nullptr) return std::nullopt;
    std::string path = textOf(key, *value);
    // At the end of a unit file's line, a blank is lost and a backslash joins the next line to it.
    if (!path.starts_with('/') || path.ends_with(' ') || path.ends_with('\\')) refuse(key, "is no full path");
    return path;
}

bool isVariableName(std::string_view name) {
    if (name.empty() || (name.front() >= '0' && name.front() <= '9')) return false;
    return std::all_of(name.begin(), name.end(), [](char c) { return isLetterOrDigit(c) || c == '_'; });
}

std::map<std::string, std::string> variablesOf(const json::object& list) {
    constexpr std::string_view key = "EnvironmentVariables";
    std::map<std::string, std::string> variables;
    const json::value* value = member(list, key);
    if (value == nullptr) return variables;
    const auto* object = value->if_object();
    if (object == nullptr) refuse(key, "is not a dictionary");
    if (object->size() > mostVariables) refuse(key, "is too long");
    for (const auto& [name, entry] : *object) {
        if (!isVariableName(name)) refuse(key, "has a name that no variable has");
        variables.emplace(name, textOf(key, entry));
    }
    return variables;
}

json::object parse(std::string_view propertyList) {
    try {
        return parsePropertyList(propertyList);
    } catch (const std::invalid_argument& error) {
        throw LoginItemError(error.what());
    }
}

}  // namespace

bool isTextForUnits(const std::string& text) {
    if (!isValidUTF8(text)) return false;
    const auto characters = icu::UnicodeString::fromUTF8(text);
    for (std::int32_t at = 0; at < characters.length(); at = characters.moveIndex32(at, 1)) {
        if (u_hasBinaryProperty(characters.char32At(at), UCHAR_NONCHARACTER_CODE_POINT)) return false;
    }
    return true;
}

LoginItem parseLoginItem(std::string_view propertyList) {
    const json::object list = parse(propertyList);
    LoginItem item;
    item.label = labelOf(list);
    item.programArguments = argumentsOf(list);
    item.keepAlive = truthOf(list, "KeepAlive");
    if (!truthOf(list, "RunAtLoad") && !item.keepAlive)
        refuse("RunAtLoad", "does not ask for a start at login");
    item.standardOutPath = logOf(list, "StandardOutPath");
    item.standardErrorPath = logOf(list, "StandardErrorPath");
    item.environmentVariables = variablesOf(list);
    return item;
}

}  // namespace varkel
