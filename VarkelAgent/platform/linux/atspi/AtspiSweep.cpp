// The bulk load of a session: the whole subtree's parts, with calls pipelined instead of one wait per
// element.

#include <algorithm>
#include <array>
#include <chrono>
#include <string_view>
#include <thread>

#include "platform/linux/atspi/AtspiSession.h"
#include "platform/linux/atspi/AtspiWire.h"

namespace varkel {

namespace {

/// How long an application may take to build its tree after it was asked to.
constexpr Deadline::Duration wakeLimit{5000};
/// When one that has not is asked again: a busy one may only have been slow.
constexpr Deadline::Duration wakeAgain{60'000};
/// How long a document may stay empty meanwhile; some are.
constexpr Deadline::Duration emptyDocumentLimit{2000};
/// Between two looks at a tree that grows.
constexpr std::chrono::milliseconds wakePause{100};

bool lists(std::span<const AXAttribute> attributes, AXAttribute wanted) {
    return std::ranges::find(attributes, wanted) != attributes.end();
}

}  // namespace

/// Toolkits differ in how they list the objects that they hold.
struct AtspiSession::CacheShape {
    const char* list;
    const char* items;
    const char* item;
    /// Whether an object comes with a list of its children, or with its place among its parent's children and
    /// the number of its own.
    bool listsChildren;
};

void AtspiSession::loadSubtree(std::uint32_t index, std::span<const AXAttribute> attributes,
                               const PrefetchScope& scope) {
    if (!connect()) return;
    openPeerConnections();
    Sweep plan;
    plan.scope = scope;
    plan.values = lists(attributes, AXAttribute::value);
    plan.states = lists(attributes, AXAttribute::enabled) || lists(attributes, AXAttribute::focused);
    plan.extents = lists(attributes, AXAttribute::position) || lists(attributes, AXAttribute::size);
    sweep(index, plan);
    if (index == rootNode && isDormant() && toolkit_.dormantUntil.passed()) wake(plan);
}

/// Reads a subtree as planned, and gives the number of elements.
std::size_t AtspiSession::sweep(std::uint32_t index, const Sweep& plan) {
    // An application hands over most of itself in one reply; worth it only when most of it is wanted.
    if (index == rootNode) loadCache();
    sweep_ = plan;
    sweep_->number = ++sweeps_;
    nodes_[index].depth = 0;
    visit(index);
    serve();
    const std::size_t visited = sweep_->visited;
    sweep_.reset();
    return visited;
}

/// Whether the application has windows, but shows nothing of what is in them. Chromium builds its tree only
/// for who asks as a screen reader does; until then its windows list children that do not exist.
bool AtspiSession::isDormant() const {
    if (toolkit_.name != "Chromium") return false;
    const auto isThere = [this](std::uint32_t index) { return nodes_[index].isKnown(AtspiPart::role); };
    const auto& windows = nodes_[rootNode].children;
    return !windows.empty() && std::ranges::none_of(windows, [&](std::uint32_t window) {
        return std::ranges::any_of(nodes_[window].children, isThere);
    });
}

/// Whether a document has nothing in it, which may still be on its way from another process.
bool AtspiSession::hasEmptyDocument() const {
    return std::ranges::any_of(nodes_, [](const AtspiNode& node) {
        const bool isDocument = node.role == AtspiRole::documentWeb || node.role == AtspiRole::documentFrame;
        return isDocument && node.isKnown(AtspiPart::childCount) && node.childCount == 0;
    });
}

/// Has the application build its tree, and reads it until it has stopped growing.
void AtspiSession::wake(const Sweep& plan) {
    const Deadline limit = earlier(deadline_, Deadline::in(wakeLimit));
    const Deadline documentLimit = Deadline::in(emptyDocumentLimit);
    for (std::size_t before = 0; !limit.passed();) {
        if (isDormant()) askWindowsForAttributes();
        for (AtspiNode& node : nodes_) node.forgetAll();
        const std::size_t now = sweep(rootNode, plan);
        const bool isComplete = !isDormant() && (documentLimit.passed() || !hasEmptyDocument());
        if (isComplete && now == before) return;
        before = now;
        std::this_thread::sleep_for(wakePause);
    }
    if (isDormant()) bus_.learnThatItStaysDormant(peers_[0].busName, Deadline::in(wakeAgain));
}

/// It is the question that counts.
void AtspiSession::askWindowsForAttributes() {
    for (const std::uint32_t window : nodes_[rootNode].children) {
        send(window, newCall(window, AtspiCall::getAttributes), [](CallOutcome, sd_bus_message*) {});
    }
    serve();
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
    ask(index, AtspiPart::name);
    ask(index, AtspiPart::accessibleId);
    if (roleKnown) continueSweep(index, AtspiPart::role);
}

/// Asks for the place, as soon as role and states tell whether the element has one.
void AtspiSession::askExtentsOnceItMayHaveThem(std::uint32_t index) {
    const AtspiNode& node = nodes_[index];
    if (!sweep_->extents || node.isPending(AtspiPart::role)) return;
    if (sweep_->states && node.isPending(AtspiPart::states)) return;
    if (node.interfaces.known && !node.interfaces.component) return;
    if (!isHidden(index)) ask(index, AtspiPart::extents);
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
    if (part == AtspiPart::role || part == AtspiPart::states) askExtentsOnceItMayHaveThem(index);
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
    if (!isTextBearing(node.role)) return;
    if (!node.interfaces.known || node.interfaces.text) ask(index, AtspiPart::text);
}

/// Takes name, role, states and child count of all objects that the application keeps a list of.
void AtspiSession::loadCache() {
    static constexpr std::array<CacheShape, 2> shapes{{
        {"a((so)(so)(so)iiassusau)", "((so)(so)(so)iiassusau)", "(so)(so)(so)iiassusau", false},
        {"a((so)(so)(so)a(so)assusau)", "((so)(so)(so)a(so)assusau)", "(so)(so)(so)a(so)assusau", true},
    }};
    const Peer& peer = peers_[nodes_[rootNode].peer];
    const char* destination = peer.direct ? nullptr : peer.busName.c_str();
    SdBusMessage call =
        newAtspiCall(*peer.connection, destination, "/org/a11y/atspi/cache", AtspiCall::getCacheItems);
    send(rootNode, std::move(call), [this](CallOutcome, sd_bus_message* reply) {
        // Some toolkits do not answer: then every element is asked.
        if (reply == nullptr) return;
        for (const CacheShape& shape : shapes) {
            if (sd_bus_message_has_signature(reply, shape.list) > 0) readCacheItems(reply, shape);
        }
    });
    serve();
}

void AtspiSession::readCacheItems(sd_bus_message* reply, const CacheShape& shape) {
    if (sd_bus_message_enter_container(reply, 'a', shape.items) <= 0) return;
    ListedChildren listed;
    while (sd_bus_message_enter_container(reply, 'r', shape.item) > 0) {
        if (!readCacheItem(reply, shape, listed) || sd_bus_message_exit_container(reply) < 0) break;
    }
    // A count is not believed when more children than that are in the same list.
    for (const auto& [parent, count] : listed) {
        if (nodes_[parent].childCount < count) nodes_[parent].forget(AtspiPart::childCount);
    }
    // GTK 4 says that the application itself has no children; its windows need not be in the list.
    nodes_[rootNode].forget(AtspiPart::childCount);
}

/// Reads a child count; nothing when something else stands there, less than 0 for 'not counted'.
std::optional<std::int32_t> AtspiSession::readCachedChildCount(sd_bus_message* reply,
                                                               const CacheShape& shape) {
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
bool AtspiSession::readCacheItem(sd_bus_message* reply, const CacheShape& shape, ListedChildren& listed) {
    const char* name = nullptr;
    const char* path = nullptr;
    const char* parentName = nullptr;
    const char* parentPath = nullptr;
    if (sd_bus_message_read(reply, "(so)", &name, &path) <= 0) return false;
    if (sd_bus_message_skip(reply, "(so)") < 0) return false;
    if (sd_bus_message_read(reply, "(so)", &parentName, &parentPath) <= 0) return false;
    const auto childCount = readCachedChildCount(reply, shape);
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
    const std::string& own = peers_[0].busName;
    if (own != name) return true;

    const auto index = nodeAt(0, path);
    if (!index) return true;
    AtspiNode& node = nodes_[*index];
    node.interfaces = interfaces;
    if (keep(node.name, text)) node.markKnown(AtspiPart::name);
    node.role = static_cast<AtspiRole>(role);
    node.markKnown(AtspiPart::role);
    node.states = *states;
    node.markKnown(AtspiPart::states);
    node.childCount = *childCount;
    if (*childCount >= 0) node.markKnown(AtspiPart::childCount);
    const auto parent = own == parentName ? nodeAt(0, parentPath) : std::nullopt;
    if (parent && *parent != *index) ++listed[*parent];
    return true;
}

}  // namespace varkel
