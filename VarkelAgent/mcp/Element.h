#pragma once

#include <boost/json/value.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varkel::mcp {

/// A place on the desktop, in pixels from its top left corner.
struct Frame {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// An element of an answer of the agent; its texts are kept by the Elements that it is one of.
struct Element {
    std::string_view id;
    std::string_view role;
    std::string_view label;
    std::string_view value;
    std::string_view identifier;
    std::optional<Frame> frame;
    bool disabled = false;
    bool focused = false;
    std::vector<Element> children;
};

/// Elements together with their texts. Movable.
struct Elements {
    std::unique_ptr<std::string> texts;
    std::vector<Element> roots;
};

/// Reads the agent's answer to a tree or to a search. Throws ToolError when it is neither. Any thread, like
/// all of these.
Elements readElements(std::string_view body);

/// With all that are in it.
std::size_t countElements(const Element& element);

/// The element with this id in a subtree, or nullptr.
const Element* findById(const Element& root, std::string_view id);

/// An element without a name and a value, of a role that cannot be acted on.
bool saysNothing(const Element& element);

enum class Place { hidden, shown };

/// One line for an element: role, label or else identifier, value, state, place, id. Values of more than
/// `longestValue` characters are shortened.
std::string describe(const Element& element, Place place = Place::hidden, std::size_t longestValue = 200);

boost::json::object toJSON(const Frame& frame);

/// What the line says, as fields; of what is inside only how much it is.
boost::json::object toJSON(const Element& element);

}  // namespace varkel::mcp
