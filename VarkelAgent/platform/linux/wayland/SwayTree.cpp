#include "platform/linux/wayland/SwayTree.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace varkel {

namespace {

namespace json = boost::json;

/// Containers in containers in containers.
constexpr int maxDepth = 64;
constexpr std::size_t maxViews = 4096;

const json::value* member(const json::value& node, std::string_view name) {
    const json::object* object = node.if_object();
    return object == nullptr ? nullptr : object->if_contains(name);
}

std::string text(const json::value* value) {
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : std::string();
}

std::string text(const json::value& node, std::string_view name) {
    return text(member(node, name));
}

bool isTrue(const json::value& node, std::string_view name) {
    const json::value* value = member(node, name);
    return value != nullptr && value->is_bool() && value->get_bool();
}

std::int64_t number(const json::value* value) {
    return value != nullptr && value->is_int64() ? value->get_int64() : 0;
}

PixelRect rectangle(const json::value& node, std::string_view name) {
    const json::value* value = member(node, name);
    if (value == nullptr) return {};
    const auto side = [value](const char* each) { return static_cast<double>(number(member(*value, each))); };
    return {side("x"), side("y"), side("width"), side("height")};
}

SwayView describe(const json::value& node, pid_t process) {
    SwayView view;
    view.window.id = static_cast<WindowId>(number(member(node, "id")));
    view.window.process = process;
    view.window.applicationId = text(node, "app_id");
    // Desktop entries announce the one or the other as the class of a program's windows.
    view.window.className = view.window.instanceName = view.window.applicationId;
    if (const json::value* properties = member(node, "window_properties")) {
        view.window.className = text(*properties, "class");
        view.window.instanceName = text(*properties, "instance");
    }
    view.title = text(node, "name");
    const PixelRect outside = rectangle(node, "rect");
    const PixelRect inside = rectangle(node, "window_rect");
    view.area = {outside.x + inside.x, outside.y + inside.y, inside.width, inside.height};
    view.focused = isTrue(node, "focused");
    view.floating = text(node, "type") == "floating_con";
    view.visible = isTrue(node, "visible");
    view.xwayland = text(node, "shell") == "xwayland";
    return view;
}

class Reader {
  public:
    std::vector<SwayView> read(const json::value& tree) {
        visit(tree, 0);
        return std::move(views_);
    }

  private:
    void visit(const json::value& node, int depth) {
        if (depth > maxDepth || views_.size() >= maxViews) return;
        const auto process = static_cast<pid_t>(number(member(node, "pid")));
        if (process > 0) views_.push_back(describe(node, process));
        std::vector<const json::value*> children;
        for (const char* list : {"nodes", "floating_nodes"}) {
            const json::value* value = member(node, list);
            if (value == nullptr || !value->is_array()) continue;
            for (const json::value& each : value->get_array()) children.push_back(&each);
        }
        sortByUse(children, member(node, "focus"));
        for (const json::value* each : children) visit(*each, depth + 1);
    }

    /// `order`: the ids of the children, the one used last first.
    static void sortByUse(std::vector<const json::value*>& children, const json::value* order) {
        if (order == nullptr || !order->is_array()) return;
        const json::array& ids = order->get_array();
        const auto place = [&ids](const json::value* child) {
            const auto found = std::ranges::find(ids, number(member(*child, "id")),
                                                 [](const json::value& id) { return number(&id); });
            return found - ids.begin();
        };
        std::ranges::stable_sort(children, std::ranges::greater(), place);
    }

    std::vector<SwayView> views_;
};

}  // namespace

std::vector<SwayView> readSwayViews(const json::value& tree) {
    return Reader().read(tree);
}

}  // namespace varkel
