#include "platform/linux/atspi/AtspiSession.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/linux/atspi/AtspiWire.h"

namespace varkel {

namespace {

/// The texts that one session keeps, paths included. What an application sends beyond it is dropped, so that
/// none can fill memory.
constexpr std::size_t maxTextBytes = std::size_t{256} << 20;

/// Up to this many children come in one reply, which costs an application less than to be asked for each.
/// Longer lists may hold millions: of those, the first are asked for one by one.
constexpr std::int32_t childListLimit = 5000;
constexpr std::int32_t askedOneByOne = 1000;

/// Objects that one session keeps, twice what a tree may have: an object that is listed need not be in the
/// tree.
constexpr std::size_t maxNodes = 500'000;

constexpr const char* nullPath = "/org/a11y/atspi/null";

/// How far up a menu or a list is looked for: deeper than menus nest, with the panels that toolkits put
/// between.
constexpr std::size_t maxMenuDepth = 16;

/// Whether elements of this role may be closed while their items say that they are shown.
bool mayBeClosed(AtspiRole role) {
    using enum AtspiRole;
    constexpr std::array roles{menu, popupMenu, list, listBox, table, tree, treeTable};
    return std::ranges::find(roles, role) != roles.end();
}

bool isInvisible(const AtspiNode& node) {
    if (!node.isKnown(AtspiPart::states)) return false;
    return !node.states.has(AtspiState::visible) && !node.states.has(AtspiState::showing);
}

bool hasNoSize(const AtspiNode& node) {
    return node.isKnown(AtspiPart::extents) && node.extents.width <= 0 && node.extents.height <= 0;
}

/// Qt's lists on pages that were never shown say that they are visible, with no size.
bool isClosed(const AtspiNode& node) {
    return node.isKnown(AtspiPart::role) && mayBeClosed(node.role) && (isInvisible(node) || hasNoSize(node));
}

}  // namespace

AtspiSession::AtspiSession(AtspiBus& bus, pid_t pid) : connections_(bus, pid), pid_(pid) {
    nodes_.emplace_back();
}

bool AtspiSession::connect() {
    if (!connections_.connect()) return false;
    if (!paths_.empty()) return true;
    paths_.emplace_back().emplace(connections_.rootPath(), rootNode);
    nodes_[rootNode].path = connections_.rootPath();
    return true;
}

std::optional<std::uint32_t> AtspiSession::nodeAt(std::uint32_t peer, const std::string& path) {
    if (peer >= paths_.size()) paths_.resize(peer + 1);
    auto& known = paths_[peer];
    if (const auto found = known.find(path); found != known.end()) return found->second;
    // A path is kept twice.
    if (nodes_.size() >= maxNodes || !takeRoom(2 * path.size())) return std::nullopt;
    const auto index = static_cast<std::uint32_t>(nodes_.size());
    known.emplace(path, index);
    nodes_.emplace_back();
    nodes_.back().peer = peer;
    nodes_.back().path = path;
    return index;
}

std::optional<std::uint32_t> AtspiSession::readReference(sd_bus_message* message, std::uint32_t peer) {
    const char* name = nullptr;
    const char* path = nullptr;
    if (sd_bus_message_read(message, "(so)", &name, &path) <= 0) return std::nullopt;
    if (std::string_view(path) == nullPath) return std::nullopt;
    const bool samePeer = *name == '\0' || connections_.busName(peer) == name;
    const auto owner = samePeer ? peer : connections_.peerNamed(name);
    return owner ? nodeAt(*owner, path) : std::nullopt;
}

std::optional<pid_t> AtspiSession::pidOf(std::uint32_t index) {
    return index == rootNode ? pid_ : connections_.pidOf(nodes_[index].peer);
}

SdBusMessage AtspiSession::newCall(std::uint32_t index, AtspiCall call) {
    return connections_.newCall(nodes_[index].peer, nodes_[index].path.c_str(), call);
}

void AtspiSession::send(std::uint32_t index, SdBusMessage message, ReplyHandler handler) {
    connections_.send(nodes_[index].peer, std::move(message), std::move(handler));
}

void AtspiSession::forgetAll() {
    for (AtspiNode& node : nodes_) node.forgetAll();
}

/// Files the end of a call that was to bring one part, and goes on with what waited for it.
void AtspiSession::finish(std::uint32_t index, AtspiPart part, CallOutcome outcome, bool understood) {
    AtspiNode& node = nodes_[index];
    if (outcome == CallOutcome::replied && understood) {
        node.markKnown(part);
        if (part == AtspiPart::children) adopt(index);
    } else {
        const bool unsupported = outcome == CallOutcome::unsupported;
        node.markMissing(part, unsupported ? AXError::unsupported : AXError::cannotComplete);
    }
    if (listener_) listener_(index, part);
}

/// Tells children whose they are. An element listed by several keeps the first.
void AtspiSession::adopt(std::uint32_t index) {
    for (const std::uint32_t child : nodes_[index].children) {
        if (child != rootNode && !nodes_[child].parent) nodes_[child].parent = index;
    }
}

void AtspiSession::loadVisibility(std::uint32_t index) {
    load(index, AtspiPart::states);
    std::optional<std::uint32_t> at = index;
    for (std::size_t levels = 0; at && levels < maxMenuDepth; at = nodes_[*at].parent, ++levels) {
        if (!load(*at, AtspiPart::role) || !mayBeClosed(nodes_[*at].role)) continue;
        // What is known to be closed is not asked for more: there may be hundreds of menus.
        if (load(*at, AtspiPart::states) && !isInvisible(nodes_[*at])) load(*at, AtspiPart::extents);
    }
}

bool AtspiSession::isHidden(std::uint32_t index) const {
    if (isInvisible(nodes_[index])) return true;
    std::optional<std::uint32_t> at = index;
    for (std::size_t levels = 0; at && levels < maxMenuDepth; at = nodes_[*at].parent, ++levels) {
        if (isClosed(nodes_[*at])) return true;
    }
    return false;
}

/// Whether the session has room for so many more bytes of text; they are taken then.
bool AtspiSession::takeRoom(std::size_t bytes) {
    if (bytes > maxTextBytes - textBytes_) return false;
    textBytes_ += bytes;
    return true;
}

bool AtspiSession::keep(std::string& field, const char* text) {
    const std::string_view view(text);
    if (!takeRoom(view.size())) return false;
    field = view;
    return true;
}

bool AtspiSession::load(std::uint32_t index, AtspiPart part) {
    if (!connect()) {
        nodes_[index].markMissing(part, AXError::cannotComplete);
        return false;
    }
    if (part == AtspiPart::children) load(index, AtspiPart::childCount);
    ask(index, part);
    connections_.serve();
    return nodes_[index].isKnown(part);
}

void AtspiSession::load(std::span<const std::uint32_t> nodes, std::span<const AtspiPart> parts) {
    if (!connect()) return;
    for (const std::uint32_t index : nodes) {
        for (const AtspiPart part : parts) ask(index, part);
    }
    connections_.serve();
}

void AtspiSession::ask(std::uint32_t index, AtspiPart part) {
    if (!nodes_[index].isUnasked(part)) return;
    switch (part) {
        case AtspiPart::name:
            askName(index);
            return;
        case AtspiPart::childCount:
            askChildCount(index);
            return;
        case AtspiPart::accessibleId:
            askAccessibleId(index);
            return;
        case AtspiPart::role:
            askRole(index);
            return;
        case AtspiPart::states:
            askStates(index);
            return;
        case AtspiPart::extents:
            askExtents(index);
            return;
        case AtspiPart::text:
            askText(index);
            return;
        case AtspiPart::children:
            askChildren(index);
            return;
    }
}

void AtspiSession::askName(std::uint32_t index) {
    nodes_[index].markAsked(AtspiPart::name);
    send(index, newCall(index, AtspiCall::getName),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             const char* text = nullptr;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "v", "s", &text) > 0;
             finish(index, AtspiPart::name, outcome, understood && keep(nodes_[index].name, text));
         });
}

void AtspiSession::askChildCount(std::uint32_t index) {
    nodes_[index].markAsked(AtspiPart::childCount);
    send(index, newCall(index, AtspiCall::getChildCount),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             std::int32_t& count = nodes_[index].childCount;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "v", "i", &count) > 0;
             finish(index, AtspiPart::childCount, outcome, understood);
         });
}

void AtspiSession::askAccessibleId(std::uint32_t index) {
    // What another process contributes may be of another toolkit.
    if (nodes_[index].peer == AtspiConnections::application && !connections_.toolkit().hasIdentifiers) {
        nodes_[index].markMissing(AtspiPart::accessibleId, AXError::unsupported);
        return;
    }
    nodes_[index].markAsked(AtspiPart::accessibleId);
    send(index, newCall(index, AtspiCall::getAccessibleId),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             const char* text = nullptr;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "v", "s", &text) > 0;
             finish(index, AtspiPart::accessibleId, outcome,
                    understood && keep(nodes_[index].accessibleId, text));
         });
}

void AtspiSession::askRole(std::uint32_t index) {
    nodes_[index].markAsked(AtspiPart::role);
    send(index, newCall(index, AtspiCall::getRole),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             std::uint32_t number = 0;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "u", &number) > 0;
             nodes_[index].role = static_cast<AtspiRole>(number);
             finish(index, AtspiPart::role, outcome, understood);
         });
}

void AtspiSession::askStates(std::uint32_t index) {
    nodes_[index].markAsked(AtspiPart::states);
    send(index, newCall(index, AtspiCall::getState),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             const auto states = reply == nullptr ? std::nullopt : readAtspiStates(reply);
             nodes_[index].states = states.value_or(AtspiStates());
             finish(index, AtspiPart::states, outcome, states.has_value());
         });
}

/// What another process contributes may be of another toolkit.
bool AtspiSession::isOfGTK4(std::uint32_t index) const {
    return nodes_[index].peer == AtspiConnections::application && connections_.toolkit().name == "GTK";
}

void AtspiSession::askExtents(std::uint32_t index) {
    constexpr std::uint32_t screenCoordinates = 0;
    constexpr std::uint32_t windowCoordinates = 1;
    // GTK 4 knows no others. It answers relative to the window in any case, but writes a warning each time.
    nodes_[index].markAsked(AtspiPart::extents);
    SdBusMessage call = newCall(index, AtspiCall::getExtents);
    if (call &&
        sd_bus_message_append(call.get(), "u", isOfGTK4(index) ? windowCoordinates : screenCoordinates) < 0)
        call.reset();
    send(index, std::move(call), [this, index](CallOutcome outcome, sd_bus_message* reply) {
        AtspiExtents& extents = nodes_[index].extents;
        const bool understood =
            reply != nullptr &&
            sd_bus_message_read(reply, "(iiii)", &extents.x, &extents.y, &extents.width, &extents.height) > 0;
        finish(index, AtspiPart::extents, outcome, understood);
    });
}

void AtspiSession::askText(std::uint32_t index) {
    constexpr std::int32_t toTheEnd = -1;
    nodes_[index].markAsked(AtspiPart::text);
    if (!isOfGTK4(index)) return askTextUpTo(index, toTheEnd);
    send(index, newCall(index, AtspiCall::getCharacterCount),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             std::int32_t count = 0;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "v", "i", &count) > 0;
             if (!understood || count < 0) return finish(index, AtspiPart::text, outcome, false);
             askTextUpTo(index, count);
         });
}

void AtspiSession::askTextUpTo(std::uint32_t index, std::int32_t end) {
    SdBusMessage call = newCall(index, AtspiCall::getText);
    if (call && sd_bus_message_append(call.get(), "ii", 0, end) < 0) call.reset();
    send(index, std::move(call), [this, index](CallOutcome outcome, sd_bus_message* reply) {
        const char* text = nullptr;
        const bool understood = reply != nullptr && sd_bus_message_read(reply, "s", &text) > 0;
        finish(index, AtspiPart::text, outcome, understood && keep(nodes_[index].text, text));
    });
}

/// The children, once it is known how many there are.
void AtspiSession::askChildren(std::uint32_t index) {
    AtspiNode& node = nodes_[index];
    node.markAsked(AtspiPart::children);
    const bool counted = node.isKnown(AtspiPart::childCount);
    if (counted && node.childCount == 0) {
        finish(index, AtspiPart::children, CallOutcome::replied, true);
    } else if (counted && node.childCount > childListLimit) {
        askChildrenOneByOne(index);
    } else {
        askChildList(index);
    }
}

void AtspiSession::askChildList(std::uint32_t index) {
    send(index, newCall(index, AtspiCall::getChildren),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             const bool understood =
                 reply != nullptr && sd_bus_message_enter_container(reply, 'a', "(so)") > 0;
             std::vector<std::uint32_t> children;
             // The count may have been a lie: no more is taken than would have been asked for.
             for (std::int32_t i = 0; understood && i < childListLimit; ++i) {
                 if (sd_bus_message_at_end(reply, 0) != 0) break;
                 if (const auto child = readReference(reply, nodes_[index].peer)) children.push_back(*child);
             }
             nodes_[index].children = std::move(children);
             finish(index, AtspiPart::children, outcome, understood);
         });
}

void AtspiSession::askChildrenOneByOne(std::uint32_t index) {
    constexpr std::size_t wanted = askedOneByOne;
    const auto list = std::make_shared<SlowChildren>(
        SlowChildren{wanted, std::vector<std::optional<std::uint32_t>>(wanted)});
    for (std::size_t i = 0; i < wanted; ++i) {
        SdBusMessage call = newCall(index, AtspiCall::getChildAtIndex);
        if (call && sd_bus_message_append(call.get(), "i", static_cast<std::int32_t>(i)) < 0) call.reset();
        send(index, std::move(call), [this, index, i, list](CallOutcome outcome, sd_bus_message* reply) {
            if (reply != nullptr) list->found[i] = readReference(reply, nodes_[index].peer);
            if (--list->missing > 0) return;
            for (const auto& child : list->found) {
                if (child) nodes_[index].children.push_back(*child);
            }
            const bool any = !nodes_[index].children.empty();
            finish(index, AtspiPart::children, any ? CallOutcome::replied : outcome, any);
        });
    }
}

}  // namespace varkel
