#include "overlay/Target.h"

#include <boost/json/monotonic_resource.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <exception>
#include <vector>

namespace varkel::overlay {

namespace json = boost::json;

namespace {

/// Twice the levels that the agent reads, since a level is an object in a list.
constexpr std::size_t deepestAnswer = 4'096;
constexpr std::size_t mostSearchedForLabel = 64;

std::string textOf(const json::object& element, std::string_view key) {
    const json::value* value = element.if_contains(key);
    const json::string* text = value != nullptr ? value->if_string() : nullptr;
    return text != nullptr ? std::string(*text) : std::string();
}

/// Goes through an element and what is in it, parents first, without a stack of calls: trees may be deep.
class Walk {
  public:
    explicit Walk(const json::object& root) : waiting_{&root} {}

    const json::object* next() {
        if (waiting_.empty()) return nullptr;
        const json::object* element = waiting_.back();
        waiting_.pop_back();
        const json::value* children = element->if_contains("children");
        const json::array* list = children != nullptr ? children->if_array() : nullptr;
        if (list == nullptr) return element;
        for (auto child = list->rbegin(); child != list->rend(); ++child) {
            if (const json::object* object = child->if_object()) waiting_.push_back(object);
        }
        return element;
    }

  private:
    std::vector<const json::object*> waiting_;
};

std::string labelIn(const json::object& root) {
    Walk walk(root);
    for (std::size_t count = 0; count < mostSearchedForLabel; ++count) {
        const json::object* element = walk.next();
        if (element == nullptr) break;
        if (std::string label = textOf(*element, "label"); !label.empty()) return label;
    }
    return {};
}

std::optional<AXFrame> frameOf(const json::object& element) {
    const json::value* value = element.if_contains("frame");
    const json::object* frame = value != nullptr ? value->if_object() : nullptr;
    if (frame == nullptr) return std::nullopt;
    const auto number = [&](std::string_view key) {
        const json::value* side = frame->if_contains(key);
        return side != nullptr && side->is_number() ? side->to_number<double>() : 0;
    };
    return AXFrame{number("x"), number("y"), number("width"), number("height")};
}

Target targetIn(const json::object& application, std::string_view elementId) {
    Target target;
    target.application = textOf(application, "label");
    target.applicationId = textOf(application, "id");
    target.state = Target::State::found;
    if (elementId.empty()) return target;
    Walk walk(application);
    while (const json::object* element = walk.next()) {
        if (textOf(*element, "id") != elementId) continue;
        target.role = textOf(*element, "role");
        target.label = labelIn(*element);
        target.frame = frameOf(*element);
        return target;
    }
    target.state = Target::State::gone;
    return target;
}

}  // namespace

Target findTarget(std::string_view answer, std::string_view elementId) {
    Target nothing;
    nothing.state = Target::State::noAnswer;
    try {
        json::parse_options options;
        options.max_depth = deepestAnswer;
        json::monotonic_resource memory;
        const json::value document = json::parse(answer, &memory, options);
        const json::array& matches = document.as_object().at("matches").as_array();
        return matches.empty() ? nothing : targetIn(matches.front().as_object(), elementId);
    } catch (const std::exception&) {
        return nothing;
    }
}

}  // namespace varkel::overlay
