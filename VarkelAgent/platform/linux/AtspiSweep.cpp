// The bulk load of a session: the whole subtree's parts, with calls pipelined instead of one wait per
// element.

#include <algorithm>
#include <string_view>

#include "platform/linux/AtspiSession.h"
#include "platform/linux/AtspiWire.h"

namespace varkel {

namespace {

constexpr const char* cacheItems = "a((so)(so)(so)iiassusau)";
constexpr const char* cacheItem = "(so)(so)(so)iiassusau";

bool lists(std::span<const AXAttribute> attributes, AXAttribute wanted) {
    return std::ranges::find(attributes, wanted) != attributes.end();
}

}  // namespace

void AtspiSession::loadSubtree(std::uint32_t index, std::span<const AXAttribute> attributes,
                               const PrefetchScope& scope) {
    if (!connect()) return;
    openLanes();
    // An application hands over most of itself in one reply; worth it only when most of it is wanted.
    if (index == rootNode) loadCache();
    sweep_ = Sweep{};
    sweep_->number = ++sweeps_;
    sweep_->scope = scope;
    sweep_->values = lists(attributes, AXAttribute::value);
    sweep_->states = lists(attributes, AXAttribute::enabled) || lists(attributes, AXAttribute::focused);
    sweep_->extents = lists(attributes, AXAttribute::position) || lists(attributes, AXAttribute::size);
    nodes_[index].depth = 0;
    visit(index);
    serve();
    sweep_.reset();
}

void AtspiSession::visit(std::uint32_t index) {
    AtspiNode& node = nodes_[index];
    if (node.sweep == sweep_->number || sweep_->visited >= sweep_->scope.maxElements) return;
    node.sweep = sweep_->number;
    ++sweep_->visited;
    // What leads further down goes first, so that the queue never runs dry while there is more to find.
    const bool countKnown = node.isKnown(AtspiPart::childCount);
    ask(index, AtspiPart::childCount);
    if (countKnown) continueSweep(index, AtspiPart::childCount);
    const bool roleKnown = node.isKnown(AtspiPart::role);
    ask(index, AtspiPart::role);
    if (sweep_->states) ask(index, AtspiPart::states);
    ask(index, AtspiPart::accessibleId);
    if (roleKnown) continueSweep(index, AtspiPart::role);
    // Last, when an application's own list has told the states of the menus above.
    if (sweep_->extents && mayHaveExtents(index)) ask(index, AtspiPart::extents);
}

bool AtspiSession::mayHaveExtents(std::uint32_t index) {
    const AtspiNode& node = nodes_[index];
    if (!node.interfaces.known) return true;
    return node.interfaces.component && !isInClosedMenu(index);
}

/// Goes on from a part that has just become known, or is known to be missing.
void AtspiSession::continueSweep(std::uint32_t index, AtspiPart part) {
    AtspiNode& node = nodes_[index];
    if (part == AtspiPart::childCount && node.depth < sweep_->scope.maxDepth) {
        // A load before may have brought the children, but not what is below them.
        if (node.isKnown(AtspiPart::children)) continueSweep(index, AtspiPart::children);
        ask(index, AtspiPart::children);
    }
    if (part == AtspiPart::role && node.isKnown(part)) {
        if (roleDependsOnStates(node.role)) ask(index, AtspiPart::states);
        if (sweep_->values) askValue(index);
    }
    if (part != AtspiPart::children || !node.isKnown(part)) return;
    const std::size_t count = std::min(node.children.size(), sweep_->scope.maxChildren);
    for (std::size_t i = 0; i < count; ++i) {
        AtspiNode& child = nodes_[node.children[i]];
        if (child.sweep != sweep_->number) child.depth = node.depth + 1;
        visit(node.children[i]);
    }
}

void AtspiSession::askValue(std::uint32_t index) {
    const AtspiNode& node = nodes_[index];
    if (isTextBearing(node.role)) {
        if (!node.interfaces.known || node.interfaces.text) ask(index, AtspiPart::text);
    } else if (isNumeric(node.role)) {
        if (!node.interfaces.known || node.interfaces.value) ask(index, AtspiPart::number);
    }
}

/// Takes name, role, states and child count of all objects that the application keeps a list of.
void AtspiSession::loadCache() {
    const Peer& peer = peers_[nodes_[rootNode].peer];
    const char* destination = peer.direct ? nullptr : peer.busName.c_str();
    SdBusMessage call =
        peer.connection->newCall({destination, "/org/a11y/atspi/cache", "org.a11y.atspi.Cache", "GetItems"});
    send(rootNode, std::move(call), [this](CallOutcome, sd_bus_message* reply) {
        // Some toolkits answer with another shape, or not at all: then every element is asked.
        if (reply == nullptr || sd_bus_message_has_signature(reply, cacheItems) <= 0) return;
        if (sd_bus_message_enter_container(reply, 'a', "((so)(so)(so)iiassusau)") <= 0) return;
        while (sd_bus_message_enter_container(reply, 'r', cacheItem) > 0) {
            readCacheItem(reply);
            if (sd_bus_message_exit_container(reply) < 0) return;
        }
    });
    serve();
}

void AtspiSession::readCacheItem(sd_bus_message* reply) {
    const char* name = nullptr;
    const char* path = nullptr;
    std::int32_t indexInParent = 0;
    std::int32_t childCount = 0;
    std::uint32_t role = 0;
    if (sd_bus_message_read(reply, "(so)", &name, &path) <= 0) return;
    if (sd_bus_message_skip(reply, "(so)(so)") < 0) return;
    if (sd_bus_message_read(reply, "ii", &indexInParent, &childCount) <= 0) return;
    AtspiInterfaces interfaces{.known = true};
    if (sd_bus_message_enter_container(reply, 'a', "s") < 0) return;
    const char* text = nullptr;
    while (sd_bus_message_read(reply, "s", &text) > 0) {
        const std::string_view interface(text);
        interfaces.component |= interface == "org.a11y.atspi.Component";
        interfaces.text |= interface == "org.a11y.atspi.Text";
        interfaces.value |= interface == "org.a11y.atspi.Value";
    }
    if (sd_bus_message_exit_container(reply) < 0) return;
    if (sd_bus_message_read(reply, "su", &text, &role) <= 0 || sd_bus_message_skip(reply, "s") < 0) return;
    const auto states = readAtspiStates(reply);
    if (!states || peers_[0].busName != name) return;

    const auto index = nodeAt(0, path);
    if (!index) return;
    AtspiNode& node = nodes_[*index];
    node.interfaces = interfaces;
    if (keep(node.name, text)) node.markKnown(AtspiPart::name);
    node.role = static_cast<AtspiRole>(role);
    node.markKnown(AtspiPart::role);
    node.states = *states;
    node.markKnown(AtspiPart::states);
    // A negative count stands for 'not counted'.
    node.childCount = childCount;
    if (childCount >= 0) node.markKnown(AtspiPart::childCount);
}

}  // namespace varkel
