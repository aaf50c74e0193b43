#include "platform/linux/atspi/AtspiBus.h"

#include <sys/socket.h>

#include <string_view>

#include "base/Environment.h"
#include "platform/linux/atspi/AtspiCalls.h"

namespace varkel {

namespace {

constexpr std::size_t maxIdleConnections = 8;
// A desktop has tens of applications; a session in which thousands came and went starts to learn anew.
constexpr std::size_t maxKnownPeers = 4096;
constexpr std::size_t maxApplications = 1024;

constexpr const char* registryName = "org.a11y.atspi.Registry";
constexpr const char* rootPath = "/org/a11y/atspi/accessible/root";

std::string variable(const char* name) {
    const auto found = environment().find(name);
    return found == environment().end() ? "" : found->second;
}

std::string sessionBusAddress() {
    std::string address = variable("DBUS_SESSION_BUS_ADDRESS");
    if (!address.empty()) return address;
    const std::string runtime = variable("XDG_RUNTIME_DIR");
    return runtime.empty() ? "" : "unix:path=" + runtime + "/bus";
}

std::unique_ptr<BusConnection> openSessionBus(Deadline deadline) {
    const std::string address = sessionBusAddress();
    return address.empty() ? nullptr : BusConnection::open(address, BusKind::messageBus, deadline);
}

std::string findAccessibilityBus(BusConnection& session, Deadline deadline) {
    const SdBusMessage reply = session.callAndWait(
        session.newCall({"org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress"}), deadline);
    const char* address = nullptr;
    if (!reply || sd_bus_message_read(reply.get(), "s", &address) < 0) return "";
    return address;
}

/// Turns the session's accessibility status on. Where that is not to be had, applications decide for
/// themselves.
void turnOn(BusConnection& session, Deadline deadline) {
    SdBusMessage call =
        session.newCall({"org.a11y.Bus", "/org/a11y/bus", "org.freedesktop.DBus.Properties", "Set"});
    if (!call || sd_bus_message_append(call.get(), "ssv", "org.a11y.Status", "IsEnabled", "b", 1) < 0) return;
    session.callAndWait(std::move(call), deadline);
}

SdBusMessage pidCall(BusConnection& bus, const std::string& busName) {
    SdBusMessage call = bus.newCall({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                     "GetConnectionUnixProcessID"});
    if (call && sd_bus_message_append(call.get(), "s", busName.c_str()) < 0) return nullptr;
    return call;
}

std::optional<pid_t> readPid(sd_bus_message* reply) {
    std::uint32_t pid = 0;
    if (reply == nullptr || sd_bus_message_read(reply, "u", &pid) < 0) return std::nullopt;
    return static_cast<pid_t>(pid);
}

SdBusMessage rootCall(BusConnection& bus, const AtspiReference& root, AtspiCall call) {
    return newAtspiCall(bus, root.busName.c_str(), root.path.c_str(), call);
}

/// An application names its own socket, so nothing but a plain local socket is accepted: an address can also
/// ask for a program to be run or a network host to be called.
bool isPlainSocket(std::string_view address) {
    const bool local = address.starts_with("unix:path=") || address.starts_with("unix:abstract=");
    return local && address.find(';') == std::string_view::npos;
}

bool leadsTo(const BusConnection& connection, pid_t pid) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(connection.fd(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
    return credentials.pid == pid;
}

}  // namespace

AtspiBus::Lease::~Lease() {
    if (connection_) owner_->release(std::move(connection_), generation_);
}

bool AtspiBus::isKnownReachable() {
    const std::scoped_lock lock(mutex_);
    return sentinel_ && sentinel_->isAlive();
}

bool AtspiBus::isReachable() {
    std::uint64_t before = 0;
    {
        const std::scoped_lock lock(mutex_);
        if (sentinel_ && sentinel_->isAlive()) return true;
        before = attempts_;
    }
    const std::scoped_lock lock(connecting_);
    {
        const std::scoped_lock state(mutex_);
        if (sentinel_ && sentinel_->isAlive()) return true;
        // Another thread tried while this one waited: no use in trying again at once.
        if (attempts_ != before) return false;
    }
    const bool connected = connect();
    const std::scoped_lock state(mutex_);
    ++attempts_;
    return connected;
}

bool AtspiBus::connect() {
    const Deadline deadline = Deadline::in(callLimit);
    const auto session = openSessionBus(deadline);
    std::string address = variable("AT_SPI_BUS_ADDRESS");
    if (address.empty() && session) address = findAccessibilityBus(*session, deadline);
    if (address.empty()) return false;
    auto sentinel = BusConnection::open(address, BusKind::messageBus, deadline);
    if (!sentinel) return false;
    bool announce = false;
    {
        const std::scoped_lock lock(mutex_);
        sentinel_ = std::move(sentinel);
        address_ = std::move(address);
        ++generation_;
        idle_.clear();
        peers_.clear();
        announce = announce_;
    }
    if (announce && session) turnOn(*session, deadline);
    return true;
}

void AtspiBus::announceOnConnect() {
    const std::scoped_lock lock(mutex_);
    announce_ = true;
}

void AtspiBus::turnStatusOn() {
    const Deadline deadline = Deadline::in(callLimit);
    if (const auto session = openSessionBus(deadline)) turnOn(*session, deadline);
}

std::optional<AtspiBus::Lease> AtspiBus::lease(Deadline deadline) {
    if (!isReachable()) return std::nullopt;
    std::string address;
    std::uint64_t generation = 0;
    {
        const std::scoped_lock lock(mutex_);
        generation = generation_;
        while (!idle_.empty()) {
            auto connection = std::move(idle_.back());
            idle_.pop_back();
            if (connection->isAlive()) return Lease(*this, std::move(connection), generation);
        }
        address = address_;
    }
    auto connection = BusConnection::open(address, BusKind::messageBus, deadline);
    if (!connection) return std::nullopt;
    return Lease(*this, std::move(connection), generation);
}

void AtspiBus::release(std::unique_ptr<BusConnection> connection, std::uint64_t generation) {
    if (connection->outstanding() != 0 || !connection->isAlive()) return;
    const std::scoped_lock lock(mutex_);
    if (generation == generation_ && idle_.size() < maxIdleConnections)
        idle_.push_back(std::move(connection));
}

AtspiBus::Peer AtspiBus::known(const std::string& busName) {
    const std::scoped_lock lock(mutex_);
    const auto found = peers_.find(busName);
    return found == peers_.end() ? Peer() : found->second;
}

std::uint64_t AtspiBus::generation() {
    const std::scoped_lock lock(mutex_);
    return generation_;
}

/// The generation is that from before the question: the next bus gives the same names to others.
void AtspiBus::learn(const std::string& busName, std::uint64_t generation,
                     const std::function<void(Peer&)>& what) {
    // Only unique names are bound to one connection for good; a well-known name may change hands.
    if (!busName.starts_with(':')) return;
    const std::scoped_lock lock(mutex_);
    if (generation != generation_) return;
    if (peers_.size() >= maxKnownPeers) peers_.clear();
    what(peers_[busName]);
}

std::vector<AtspiApplication> AtspiBus::applications(BusConnection& bus, Deadline deadline) {
    const std::uint64_t before = generation();
    const SdBusMessage reply =
        bus.callAndWait(bus.newCall({registryName, rootPath, "org.a11y.atspi.Accessible", "GetChildren"}),
                        earlier(deadline, Deadline::in(callLimit)));
    std::vector<AtspiApplication> found;
    if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "(so)") < 0) return found;
    const char* name = nullptr;
    const char* path = nullptr;
    while (found.size() < maxApplications && sd_bus_message_read(reply.get(), "(so)", &name, &path) > 0) {
        found.push_back({{name, path}, 0});
    }
    for (AtspiApplication& application : found) {
        const std::string& owner = application.root.busName;
        if (const auto pid = known(owner).pid) {
            application.pid = *pid;
            continue;
        }
        bus.call(pidCall(bus, owner), [this, before, &application](CallOutcome, sd_bus_message* answer) {
            const auto pid = readPid(answer);
            if (!pid) return;
            application.pid = *pid;
            learn(application.root.busName, before, [&](Peer& peer) { peer.pid = pid; });
        });
    }
    BusConnection* const connection = &bus;
    serveAll({&connection, 1}, callLimit, deadline);
    return found;
}

std::optional<pid_t> AtspiBus::pidOf(BusConnection& bus, const std::string& busName, Deadline deadline) {
    if (const auto pid = known(busName).pid) return pid;
    const std::uint64_t before = generation();
    const SdBusMessage reply =
        bus.callAndWait(pidCall(bus, busName), earlier(deadline, Deadline::in(callLimit)));
    const auto pid = readPid(reply.get());
    if (pid) learn(busName, before, [&](Peer& peer) { peer.pid = pid; });
    return pid;
}

std::optional<AtspiToolkit> AtspiBus::toolkit(BusConnection& bus, const AtspiApplication& application,
                                              Deadline deadline) {
    const AtspiReference& root = application.root;
    if (auto toolkit = known(root.busName).toolkit) return toolkit;
    const std::uint64_t before = generation();
    AtspiToolkit toolkit;
    bool answers = true;
    bus.call(rootCall(bus, root, AtspiCall::getToolkitName), [&](CallOutcome outcome, sd_bus_message* reply) {
        const char* name = nullptr;
        answers &= outcome != CallOutcome::unanswered && outcome != CallOutcome::unsent;
        if (reply != nullptr && sd_bus_message_read(reply, "v", "s", &name) > 0) toolkit.name = name;
    });
    bus.call(rootCall(bus, root, AtspiCall::getAccessibleId), [&](CallOutcome outcome, sd_bus_message*) {
        toolkit.hasIdentifiers = outcome != CallOutcome::unsupported;
    });
    BusConnection* const connection = &bus;
    serveAll({&connection, 1}, callLimit, deadline);
    if (!answers) return std::nullopt;
    // One that has just been started may not tell yet.
    if (!toolkit.name.empty()) learn(root.busName, before, [&](Peer& peer) { peer.toolkit = toolkit; });
    return toolkit;
}

void AtspiBus::learnThatItStaysDormant(const std::string& busName, Deadline until) {
    learn(busName, generation(), [&](Peer& peer) {
        if (peer.toolkit) peer.toolkit->dormantUntil = until;
    });
}

/// An application that is asked for its address knows the asking connection as a client from then on, and
/// stops listening to its keys for its clients when the last of them ends. When that comes while it handles a
/// key, GTK 3 uses what it has just freed, and may crash. So it gets to know a connection that stays.
void AtspiBus::stayKnownTo(const AtspiApplication& application) {
    const std::scoped_lock lock(mutex_);
    if (sentinel_)
        sentinel_->tell(rootCall(*sentinel_, application.root, AtspiCall::getApplicationBusAddress));
}

AtspiBus::PeerConnection AtspiBus::connectToPeer(BusConnection& bus, const AtspiApplication& application,
                                                 Deadline deadline) {
    const PeerConnectionPool::Application end{application.pid, application.root.busName};
    if (auto idle = peerConnections_.acquire(end, PeerConnectionPool::Need::first))
        return {peerConnections_.address(end), std::move(idle)};
    if (!peerConnections_.reserve(end, PeerConnectionPool::Need::first)) return {};
    PeerConnection opened = openPeerConnection(bus, application, deadline);
    if (opened.connection) {
        peerConnections_.rememberAddress(end, opened.address);
    } else {
        peerConnections_.release(end, nullptr);
    }
    return opened;
}

AtspiBus::PeerConnection AtspiBus::openPeerConnection(BusConnection& bus, const AtspiApplication& application,
                                                      Deadline deadline) {
    stayKnownTo(application);
    const Deadline limit = earlier(deadline, Deadline::in(callLimit));
    const SdBusMessage reply =
        bus.callAndWait(rootCall(bus, application.root, AtspiCall::getApplicationBusAddress), limit);
    // An error reply comes at once; only an application that does not serve its connection takes this long.
    if (!reply) return {"", nullptr, limit.passed()};
    const char* address = nullptr;
    if (sd_bus_message_read(reply.get(), "s", &address) < 0 || !isPlainSocket(address)) return {};
    auto connection = BusConnection::open(address, BusKind::peer, limit);
    if (!connection || !leadsTo(*connection, application.pid)) return {};
    return {address, std::move(connection)};
}

std::unique_ptr<BusConnection> AtspiBus::beginPeerConnection(const std::string& address, pid_t pid) {
    auto connection = BusConnection::begin(address, BusKind::peer);
    return connection && leadsTo(*connection, pid) ? std::move(connection) : nullptr;
}

}  // namespace varkel
