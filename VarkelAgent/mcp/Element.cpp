#include "mcp/Element.h"

#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <cmath>

#include "mcp/Call.h"
#include "mcp/Text.h"

namespace varkel::mcp {

namespace json = boost::json;

namespace {

/// Trees have up to 1,024 levels, each an object and an array.
constexpr std::size_t deepest = 2'200;
constexpr std::size_t longestLabel = 200;
constexpr double furthestPixel = 1e6;

std::string_view textOf(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    const json::string* text = value == nullptr ? nullptr : value->if_string();
    return text == nullptr ? std::string_view() : std::string_view(*text);
}

std::optional<bool> flagOf(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    if (value == nullptr || !value->is_bool()) return std::nullopt;
    return value->get_bool();
}

std::optional<int> pixelOf(const json::object& object, std::string_view key) {
    const json::value* value = object.if_contains(key);
    if (value == nullptr || !value->is_number()) return std::nullopt;
    const double number = value->to_number<double>();
    if (!(std::abs(number) <= furthestPixel)) return std::nullopt;
    return static_cast<int>(std::lround(number));
}

std::optional<Frame> frameOf(const json::object& object) {
    const json::value* value = object.if_contains("frame");
    if (value == nullptr || !value->is_object()) return std::nullopt;
    const json::object& frame = value->get_object();
    const auto x = pixelOf(frame, "x");
    const auto y = pixelOf(frame, "y");
    const auto width = pixelOf(frame, "width");
    const auto height = pixelOf(frame, "height");
    if (!x || !y || !width || !height) return std::nullopt;
    return Frame{*x, *y, *width, *height};
}

[[noreturn]] void failStrange() {
    throw ToolError("What answers on the agent's port is not the agent, or one of another version.");
}

/// Makes elements of what was parsed, whose memory need not be kept beside them: it is several times theirs.
class Reader {
  public:
    /// The texts of an answer are no longer than the answer.
    explicit Reader(std::size_t answerSize) { texts_->reserve(answerSize); }

    void read(const json::value& value) { roots_.push_back(readElement(value)); }

    Elements finish() && { return {std::move(texts_), std::move(roots_)}; }

  private:
    Element readElement(const json::value& value) {
        const json::object* object = value.if_object();
        if (object == nullptr) failStrange();
        Element element;
        element.id = keep(textOf(*object, "id"));
        element.role = keep(textOf(*object, "role"));
        element.label = keep(textOf(*object, "label"));
        element.value = keep(textOf(*object, "value"));
        element.identifier = keep(textOf(*object, "identifier"));
        element.frame = frameOf(*object);
        element.disabled = !flagOf(*object, "enabled").value_or(true);
        element.focused = flagOf(*object, "focused").value_or(false);
        const json::value* children = object->if_contains("children");
        if (children == nullptr || !children->is_array()) return element;
        element.children.reserve(children->get_array().size());
        for (const json::value& child : children->get_array()) {
            element.children.push_back(readElement(child));
        }
        return element;
    }

    /// Within what is reserved, so that the views stay good.
    std::string_view keep(std::string_view text) {
        if (texts_->capacity() - texts_->size() < text.size()) failStrange();
        const std::size_t start = texts_->size();
        *texts_ += text;
        return std::string_view(*texts_).substr(start);
    }

    std::unique_ptr<std::string> texts_ = std::make_unique<std::string>();
    std::vector<Element> roots_;
};

void appendState(std::string& line, const Element& element) {
    if (element.focused) line += " focused";
    // No toolkit says of its application that it is enabled.
    if (element.disabled && element.role != "AXApplication") line += " disabled";
}

}  // namespace

Elements readElements(std::string_view body) {
    json::parse_options options;
    options.max_depth = deepest;
    json::error_code error;
    // A tree is read once and thrown away whole, so its parts need not be given back one by one.
    const json::value answer =
        json::parse(body, error, json::make_shared_resource<json::monotonic_resource>(), options);
    const json::object* object = error ? nullptr : answer.if_object();
    if (object == nullptr) failStrange();

    Reader reader(body.size());
    if (const json::value* tree = object->if_contains("tree")) {
        reader.read(*tree);
    } else if (const json::value* matches = object->if_contains("matches"); matches && matches->is_array()) {
        for (const json::value& match : matches->get_array()) reader.read(match);
    } else {
        failStrange();
    }
    return std::move(reader).finish();
}

std::size_t countElements(const Element& element) {
    std::size_t count = 1;
    for (const Element& child : element.children) count += countElements(child);
    return count;
}

const Element* findById(const Element& root, std::string_view id) {
    if (root.id == id) return &root;
    for (const Element& child : root.children) {
        if (const Element* found = findById(child, id)) return found;
    }
    return nullptr;
}

bool saysNothing(const Element& element) {
    using namespace std::string_view_literals;
    constexpr std::array passive{
        "AXGroup"sv,      "AXImage"sv,    "AXUnknown"sv, "Unknown"sv,   "AXStaticText"sv,
        "AXSplitGroup"sv, "AXRuler"sv,    "AXHeading"sv, "AXHelpTag"sv, "AXToolbar"sv,
        "AXScrollBar"sv,  "AXSplitter"sv, ""sv};
    return element.label.empty() && element.value.empty() && !element.focused &&
           std::ranges::find(passive, element.role) != passive.end();
}

std::string describe(const Element& element, Place place, std::size_t longestValue) {
    std::string line = element.role.empty() ? "Unknown" : plainWord(element.role);
    if (!element.label.empty()) line += concat(" ", quoted(element.label, longestLabel));
    if (element.label.empty() && !element.identifier.empty()) {
        line += concat(" identifier ", quoted(element.identifier, longestLabel));
    }
    // What only shows a text has it as its label, too.
    const bool hasOwnValue = !element.value.empty() && element.value != element.label;
    if (hasOwnValue) line += concat(" = ", quoted(element.value, longestValue));
    appendState(line, element);
    if (place == Place::shown && element.frame) {
        const Frame& frame = *element.frame;
        line += concat(" at ", frame.x, ",", frame.y, " ", frame.width, "x", frame.height);
    }
    line += " #";
    line += plainWord(element.id);
    return line;
}

json::object toJSON(const Frame& frame) {
    return {{"x", frame.x}, {"y", frame.y}, {"width", frame.width}, {"height", frame.height}};
}

json::object toJSON(const Element& element) {
    json::object fields{{"id", element.id}, {"role", element.role}};
    if (!element.label.empty()) fields.emplace("label", shortened(element.label, longestLabel));
    if (!element.value.empty()) fields.emplace("value", shortened(element.value, 2'000));
    if (!element.identifier.empty())
        fields.emplace("identifier", shortened(element.identifier, longestLabel));
    if (element.frame) fields.emplace("frame", toJSON(*element.frame));
    if (element.disabled) fields.emplace("enabled", false);
    if (element.focused) fields.emplace("focused", true);
    if (const std::size_t inside = countElements(element) - 1; inside > 0) fields.emplace("inside", inside);
    return fields;
}

}  // namespace varkel::mcp
