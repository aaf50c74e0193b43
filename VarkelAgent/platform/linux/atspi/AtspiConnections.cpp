#include "platform/linux/atspi/AtspiConnections.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace varkel {

namespace {

/// A request may take this long in all, however slowly an application answers.
constexpr Deadline::Duration requestLimit{15'000};

/// Bus names that an application's objects may live under, such as a browser's for its pages.
constexpr std::size_t maxPeers = 256;

/// Connections straight to an application.
constexpr std::size_t maxDirect = PeerConnectionPool::perRequest;

}  // namespace

AtspiConnections::AtspiConnections(AtspiBus& bus, pid_t pid)
    : bus_(bus), pid_(pid), deadline_(Deadline::in(requestLimit)) {}

AtspiConnections::~AtspiConnections() {
    for (auto& connection : direct_) bus_.peerConnections().release(poolKey(), std::move(connection));
}

bool AtspiConnections::connect() {
    if (tried_) return reachable_;
    tried_ = true;
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
    peers_.push_back({found->root.busName, pid_, direct ? opened.connection.get() : &**lease_, direct});
    if (direct) direct_.push_back(std::move(opened.connection));
    directAddress_ = std::move(opened.address);
    rootPath_ = found->root.path;
    reachable_ = true;
    return true;
}

std::optional<std::uint32_t> AtspiConnections::peerNamed(const std::string& busName) {
    const auto found = std::ranges::find(peers_, busName, &Peer::busName);
    if (found != peers_.end()) return static_cast<std::uint32_t>(found - peers_.begin());
    if (peers_.size() >= maxPeers) return std::nullopt;
    // Another process's part of this application, such as a web view's: reached over the bus.
    peers_.push_back({busName, std::nullopt, &**lease_, false});
    return static_cast<std::uint32_t>(peers_.size() - 1);
}

std::optional<pid_t> AtspiConnections::pidOf(std::uint32_t index) {
    Peer& peer = peers_[index];
    if (!peer.pid) peer.pid = bus_.pidOf(**lease_, peer.busName, deadline_);
    return peer.pid;
}

SdBusMessage AtspiConnections::newCall(std::uint32_t index, const char* path, AtspiCall call) {
    const Peer& peer = peers_[index];
    const char* destination = peer.direct ? nullptr : peer.busName.c_str();
    return newAtspiCall(nextConnection(peer), destination, path, call);
}

void AtspiConnections::send(std::uint32_t peer, SdBusMessage message, ReplyHandler handler) {
    const auto made = std::ranges::find_if(direct_, [&](const auto& each) { return each->made(message); });
    BusConnection& connection = made != direct_.end() ? **made : *peers_[peer].connection;
    connection.call(std::move(message), std::move(handler));
}

void AtspiConnections::serve() {
    std::array<BusConnection*, maxDirect + 1> connections{&**lease_};
    std::ranges::transform(direct_, connections.begin() + 1,
                           [](const auto& connection) { return connection.get(); });
    serveAll(std::span(connections).first(direct_.size() + 1), callLimit, deadline_);
}

void AtspiConnections::openMore() {
    PeerConnectionPool& pool = bus_.peerConnections();
    while (!direct_.empty() && direct_.size() < maxDirect) {
        auto connection = pool.acquire(poolKey(), PeerConnectionPool::Need::more);
        if (!connection) {
            if (!pool.reserve(poolKey(), PeerConnectionPool::Need::more)) return;
            connection = AtspiBus::beginPeerConnection(directAddress_, pid_);
        }
        if (!connection) return pool.release(poolKey(), nullptr);
        direct_.push_back(std::move(connection));
    }
}

/// While calls are spread, takes the connections that are ready in turn.
BusConnection& AtspiConnections::nextConnection(const Peer& peer) {
    if (!peer.direct || !spreads_) return *peer.connection;
    for (std::size_t tries = 0; tries < direct_.size(); ++tries) {
        turn_ = (turn_ + 1) % direct_.size();
        if (direct_[turn_]->isReady()) return *direct_[turn_];
    }
    return *peer.connection;
}

}  // namespace varkel
