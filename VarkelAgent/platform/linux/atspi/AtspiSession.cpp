#include "platform/linux/atspi/AtspiSession.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/linux/atspi/AtspiWire.h"

namespace varkel {

namespace {

/// A request may take this long in all, however slowly an application answers.
constexpr Deadline::Duration sessionLimit{15'000};

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

/// Bus names that an application's objects may live under, such as a browser's for its pages.
constexpr std::size_t maxPeers = 256;

/// Connections straight to an application in a bulk load.
constexpr std::size_t maxPeerConnections = PeerConnectionPool::perRequest;

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

AtspiSession::AtspiSession(AtspiBus& bus, pid_t pid)
    : bus_(bus), pid_(pid), deadline_(Deadline::in(sessionLimit)) {
    nodes_.emplace_back();
}

bool AtspiSession::connect() {
    if (connected_) return reachable_;
    connected_ = true;
    // The number that stands for processes that the bus could not tell.
    if (pid_ <= 0) return false;
    auto lease = bus_.lease(earlier(deadline_, Deadline::in(callLimit)));
    if (!lease) return false;
    lease_.emplace(std::move(*lease));
    const auto applications = bus_.applications(**lease_, deadline_);
    const auto found = std::ranges::find(applications, pid_, &AtspiApplication::pid);
    if (found == applications.end()) return false;
    auto toolkit = bus_.toolkit(**lease_, *found, deadline_);
    if (!toolkit) return false;
    toolkit_ = std::move(*toolkit);
    auto opened = bus_.connectToPeer(**lease_, *found, deadline_);
    if (opened.frozen) return false;
    const bool direct = opened.connection != nullptr;
    peers_.push_back({found->root.busName, pid_, direct ? opened.connection.get() : &**lease_, direct, {}});
    if (direct) peerConnections_.push_back(std::move(opened.connection));
    directAddress_ = std::move(opened.address);
    peers_[0].nodes.emplace(found->root.path, rootNode);
    nodes_[rootNode].path = found->root.path;
    reachable_ = true;
    return true;
}

AtspiSession::~AtspiSession() {
    for (auto& connection : peerConnections_)
        bus_.peerConnections().release(application(), std::move(connection));
}

/// Takes the connections for a bulk load, or begins to open them. Calls go over each as soon as it is ready.
void AtspiSession::openPeerConnections() {
    PeerConnectionPool& pool = bus_.peerConnections();
    while (!peerConnections_.empty() && peerConnections_.size() < maxPeerConnections) {
        auto connection = pool.acquire(application(), PeerConnectionPool::Need::more);
        if (!connection) {
            if (!pool.reserve(application(), PeerConnectionPool::Need::more)) return;
            connection = AtspiBus::beginPeerConnection(directAddress_, pid_);
        }
        if (!connection) return pool.release(application(), nullptr);
        peerConnections_.push_back(std::move(connection));
    }
}

/// Takes the connections that are ready in turn, within a bulk load.
BusConnection& AtspiSession::nextConnection(const Peer& peer) {
    if (!peer.direct || !sweep_) return *peer.connection;
    for (std::size_t tries = 0; tries < peerConnections_.size(); ++tries) {
        turn_ = (turn_ + 1) % peerConnections_.size();
        if (peerConnections_[turn_]->isReady()) return *peerConnections_[turn_];
    }
    return *peer.connection;
}

void AtspiSession::serve() {
    std::array<BusConnection*, maxPeerConnections + 1> connections{&**lease_};
    std::ranges::transform(peerConnections_, connections.begin() + 1,
                           [](const auto& connection) { return connection.get(); });
    serveAll(std::span(connections).first(peerConnections_.size() + 1), callLimit, deadline_);
}

std::optional<std::uint32_t> AtspiSession::peerNamed(const std::string& busName) {
    const auto found = std::ranges::find(peers_, busName, &Peer::busName);
    if (found != peers_.end()) return static_cast<std::uint32_t>(found - peers_.begin());
    if (peers_.size() >= maxPeers) return std::nullopt;
    // Another process's part of this application, such as a web view's: reached over the bus.
    peers_.push_back({busName, std::nullopt, &**lease_, false, {}});
    return static_cast<std::uint32_t>(peers_.size() - 1);
}

std::optional<std::uint32_t> AtspiSession::nodeAt(std::uint32_t peer, const std::string& path) {
    auto& known = peers_[peer].nodes;
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
    const bool samePeer = *name == '\0' || peers_[peer].busName == name;
    const auto owner = samePeer ? peer : peerNamed(name);
    return owner ? nodeAt(*owner, path) : std::nullopt;
}

std::optional<pid_t> AtspiSession::pidOf(std::uint32_t index) {
    if (index == rootNode) return pid_;
    Peer& peer = peers_[nodes_[index].peer];
    if (!peer.pid) peer.pid = bus_.pidOf(**lease_, peer.busName, deadline_);
    return peer.pid;
}

SdBusMessage AtspiSession::newCall(std::uint32_t index, AtspiCall call) {
    const AtspiNode& node = nodes_[index];
    const Peer& peer = peers_[node.peer];
    const char* destination = peer.direct ? nullptr : peer.busName.c_str();
    return newAtspiCall(nextConnection(peer), destination, node.path.c_str(), call);
}

void AtspiSession::send(std::uint32_t index, SdBusMessage message, ReplyHandler handler) {
    const auto made =
        std::ranges::find_if(peerConnections_, [&](const auto& each) { return each->made(message); });
    BusConnection& connection =
        made != peerConnections_.end() ? **made : *peers_[nodes_[index].peer].connection;
    connection.call(std::move(message), std::move(handler));
}

/// Files the end of a call that was to bring one part, and goes on with what waited for it.
void AtspiSession::settle(std::uint32_t index, AtspiPart part, CallOutcome outcome, bool understood) {
    AtspiNode& node = nodes_[index];
    if (outcome == CallOutcome::replied && understood) {
        node.markKnown(part);
        if (part == AtspiPart::children) adopt(index);
    } else {
        const bool unsupported = outcome == CallOutcome::unsupported;
        node.markMissing(part, unsupported ? AXError::unsupported : AXError::cannotComplete);
    }
    if (sweep_) continueSweep(index, part);
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

/// Keeps a text that an application sent, as long as the session has room.
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
    serve();
    return nodes_[index].isKnown(part);
}

void AtspiSession::load(std::span<const std::uint32_t> nodes, std::span<const AtspiPart> parts) {
    if (!connect()) return;
    for (const std::uint32_t index : nodes) {
        for (const AtspiPart part : parts) ask(index, part);
    }
    serve();
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
             settle(index, AtspiPart::name, outcome, understood && keep(nodes_[index].name, text));
         });
}

void AtspiSession::askChildCount(std::uint32_t index) {
    nodes_[index].markAsked(AtspiPart::childCount);
    send(index, newCall(index, AtspiCall::getChildCount),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             std::int32_t& count = nodes_[index].childCount;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "v", "i", &count) > 0;
             settle(index, AtspiPart::childCount, outcome, understood);
         });
}

void AtspiSession::askAccessibleId(std::uint32_t index) {
    // What another process contributes may be of another toolkit.
    if (nodes_[index].peer == 0 && !toolkit_.hasIdentifiers) {
        nodes_[index].markMissing(AtspiPart::accessibleId, AXError::unsupported);
        return;
    }
    nodes_[index].markAsked(AtspiPart::accessibleId);
    send(index, newCall(index, AtspiCall::getAccessibleId),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             const char* text = nullptr;
             const bool understood = reply != nullptr && sd_bus_message_read(reply, "v", "s", &text) > 0;
             settle(index, AtspiPart::accessibleId, outcome,
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
             settle(index, AtspiPart::role, outcome, understood);
         });
}

void AtspiSession::askStates(std::uint32_t index) {
    nodes_[index].markAsked(AtspiPart::states);
    send(index, newCall(index, AtspiCall::getState),
         [this, index](CallOutcome outcome, sd_bus_message* reply) {
             const auto states = reply == nullptr ? std::nullopt : readAtspiStates(reply);
             nodes_[index].states = states.value_or(AtspiStates());
             settle(index, AtspiPart::states, outcome, states.has_value());
         });
}

/// What another process contributes may be of another toolkit.
bool AtspiSession::isOfGTK4(std::uint32_t index) const {
    return nodes_[index].peer == 0 && toolkit_.name == "GTK";
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
        settle(index, AtspiPart::extents, outcome, understood);
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
             if (!understood || count < 0) return settle(index, AtspiPart::text, outcome, false);
             askTextUpTo(index, count);
         });
}

void AtspiSession::askTextUpTo(std::uint32_t index, std::int32_t end) {
    SdBusMessage call = newCall(index, AtspiCall::getText);
    if (call && sd_bus_message_append(call.get(), "ii", 0, end) < 0) call.reset();
    send(index, std::move(call), [this, index](CallOutcome outcome, sd_bus_message* reply) {
        const char* text = nullptr;
        const bool understood = reply != nullptr && sd_bus_message_read(reply, "s", &text) > 0;
        settle(index, AtspiPart::text, outcome, understood && keep(nodes_[index].text, text));
    });
}

/// The children, once it is known how many there are.
void AtspiSession::askChildren(std::uint32_t index) {
    AtspiNode& node = nodes_[index];
    node.markAsked(AtspiPart::children);
    const bool counted = node.isKnown(AtspiPart::childCount);
    if (counted && node.childCount == 0) {
        settle(index, AtspiPart::children, CallOutcome::replied, true);
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
             settle(index, AtspiPart::children, outcome, understood);
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
            settle(index, AtspiPart::children, any ? CallOutcome::replied : outcome, any);
        });
    }
}

}  // namespace varkel
