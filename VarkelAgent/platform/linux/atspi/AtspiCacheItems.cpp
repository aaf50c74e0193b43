#include "platform/linux/atspi/AtspiCacheItems.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/linux/atspi/AtspiWire.h"

namespace varkel {

namespace {

/// Toolkits differ in how they list the objects that they hold.
struct CacheShape {
    const char* list;
    const char* items;
    const char* item;
    /// Whether an object comes with a list of its children, or with its place among its parent's children and
    /// the number of its own.
    bool listsChildren;
};

/// How many objects in such a list name a node as their parent.
using ListedChildren = std::unordered_map<std::uint32_t, std::int32_t>;

/// Reads a child count; nothing when something else stands there, less than 0 for 'not counted'.
std::optional<std::int32_t> readChildCount(sd_bus_message* reply, const CacheShape& shape) {
    std::int32_t count = 0;
    if (!shape.listsChildren) {
        if (sd_bus_message_skip(reply, "i") < 0) return std::nullopt;
        return sd_bus_message_read(reply, "i", &count) > 0 ? std::optional(count) : std::nullopt;
    }
    if (sd_bus_message_enter_container(reply, 'a', "(so)") < 0) return std::nullopt;
    while (sd_bus_message_at_end(reply, 0) == 0) {
        if (sd_bus_message_skip(reply, "(so)") < 0) return std::nullopt;
        ++count;
    }
    return sd_bus_message_exit_container(reply) >= 0 ? std::optional(count) : std::nullopt;
}

/// Returns whether the item could be read.
bool readItem(AtspiSession& session, sd_bus_message* reply, const CacheShape& shape, ListedChildren& listed) {
    const char* name = nullptr;
    const char* path = nullptr;
    const char* parentName = nullptr;
    const char* parentPath = nullptr;
    if (sd_bus_message_read(reply, "(so)", &name, &path) <= 0) return false;
    if (sd_bus_message_skip(reply, "(so)") < 0) return false;
    if (sd_bus_message_read(reply, "(so)", &parentName, &parentPath) <= 0) return false;
    const auto childCount = readChildCount(reply, shape);
    if (!childCount) return false;
    AtspiInterfaces interfaces{.known = true};
    if (sd_bus_message_enter_container(reply, 'a', "s") < 0) return false;
    const char* text = nullptr;
    while (sd_bus_message_read(reply, "s", &text) > 0) {
        const std::string_view interface(text);
        interfaces.component |= interface == "org.a11y.atspi.Component";
        interfaces.text |= interface == "org.a11y.atspi.Text";
    }
    if (sd_bus_message_exit_container(reply) < 0) return false;
    std::uint32_t role = 0;
    if (sd_bus_message_read(reply, "su", &text, &role) <= 0) return false;
    if (sd_bus_message_skip(reply, "s") < 0) return false;
    const auto states = readAtspiStates(reply);
    if (!states) return false;
    const std::string& own = session.connections().busName(AtspiConnections::application);
    if (own != name) return true;

    const auto index = session.nodeAt(AtspiConnections::application, path);
    if (!index) return true;
    AtspiNode& node = session.edit(*index);
    node.interfaces = interfaces;
    if (session.keep(node.name, text)) node.markKnown(AtspiPart::name);
    node.role = static_cast<AtspiRole>(role);
    node.markKnown(AtspiPart::role);
    node.states = *states;
    node.markKnown(AtspiPart::states);
    node.childCount = *childCount;
    if (*childCount >= 0) node.markKnown(AtspiPart::childCount);
    const auto parent =
        own == parentName ? session.nodeAt(AtspiConnections::application, parentPath) : std::nullopt;
    if (parent && *parent != *index) ++listed[*parent];
    return true;
}

void readItems(AtspiSession& session, sd_bus_message* reply, const CacheShape& shape) {
    if (sd_bus_message_enter_container(reply, 'a', shape.items) <= 0) return;
    ListedChildren listed;
    while (sd_bus_message_enter_container(reply, 'r', shape.item) > 0) {
        if (!readItem(session, reply, shape, listed) || sd_bus_message_exit_container(reply) < 0) break;
    }
    // A count is not believed when more children than that are in the same list.
    for (const auto& [parent, count] : listed) {
        if (session.node(parent).childCount < count) session.forget(parent, AtspiPart::childCount);
    }
    // GTK 4 says that the application itself has no children; its windows need not be in the list.
    session.forget(AtspiSession::rootNode, AtspiPart::childCount);
}

}  // namespace

void loadCacheItems(AtspiSession& session) {
    static constexpr std::array<CacheShape, 2> shapes{{
        {"a((so)(so)(so)iiassusau)", "((so)(so)(so)iiassusau)", "(so)(so)(so)iiassusau", false},
        {"a((so)(so)(so)a(so)assusau)", "((so)(so)(so)a(so)assusau)", "(so)(so)(so)a(so)assusau", true},
    }};
    AtspiConnections& connections = session.connections();
    SdBusMessage call =
        connections.newCall(AtspiConnections::application, "/org/a11y/atspi/cache", AtspiCall::getCacheItems);
    const auto read = [&session](CallOutcome, sd_bus_message* reply) {
        // Some toolkits do not answer: then every element is asked.
        if (reply == nullptr) return;
        for (const CacheShape& shape : shapes) {
            if (sd_bus_message_has_signature(reply, shape.list) > 0) readItems(session, reply, shape);
        }
    };
    connections.send(AtspiConnections::application, std::move(call), read);
    connections.serve();
}

}  // namespace varkel
