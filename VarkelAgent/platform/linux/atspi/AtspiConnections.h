#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/atspi/AtspiCalls.h"

namespace varkel {

/// How one request reaches one application, and the other processes that contribute to it: over the bus, and
/// past it where the application offers a socket. Nothing waits past the deadline that the object is made
/// with. Belongs to one thread at a time.
class AtspiConnections {
  public:
    AtspiConnections(AtspiBus& bus, pid_t pid);
    AtspiConnections(const AtspiConnections&) = delete;
    AtspiConnections& operator=(const AtspiConnections&) = delete;
    ~AtspiConnections();

    /// The peer that is the application itself. Others are processes that contribute objects to it.
    static constexpr std::uint32_t application = 0;

    /// Connects when that has not been tried; whether the application is there. What follows needs it.
    bool connect();

    Deadline deadline() const { return deadline_; }
    const AtspiToolkit& toolkit() const { return toolkit_; }
    const std::string& rootPath() const { return rootPath_; }

    /// The peer with a name on the bus; nothing when there are too many.
    std::optional<std::uint32_t> peerNamed(const std::string& busName);
    const std::string& busName(std::uint32_t peer) const { return peers_[peer].busName; }

    /// The process of a peer, or nothing when the bus does not say.
    std::optional<pid_t> pidOf(std::uint32_t peer);

    /// A call to an object of a peer. Null without memory.
    SdBusMessage newCall(std::uint32_t peer, const char* path, AtspiCall call);

    /// Sends a call that newCall() made for the peer. The handler is called once, within serve().
    void send(std::uint32_t peer, SdBusMessage message, ReplyHandler handler);

    /// Waits for the answers to all calls that were sent, also to those that handlers send.
    void serve();

    /// Opens more connections to the application, as far as it offers them, without waiting for them.
    void openMore();

    /// Whether calls to the application are dealt to all connections to it that are ready: it takes one
    /// message of each in a turn of its main loop, so many calls are answered faster over several.
    void spreadCalls(bool spread) { spreads_ = spread; }

    /// Remembers beyond this request that the application did not build its tree when it was asked to.
    void learnThatItStaysDormant(Deadline until) { bus_.learnThatItStaysDormant(peers_[0].busName, until); }

  private:
    struct Peer {
        std::string busName;
        std::optional<pid_t> pid;
        BusConnection* connection;
        // A private connection has one object tree behind it and takes no bus name.
        bool direct;
    };

    PeerConnectionPool::Application poolKey() const { return {pid_, peers_[0].busName}; }
    BusConnection& nextConnection(const Peer& peer);

    AtspiBus& bus_;
    const pid_t pid_;
    const Deadline deadline_;
    bool tried_ = false;
    bool reachable_ = false;
    std::optional<AtspiBus::Lease> lease_;
    AtspiToolkit toolkit_;
    std::string rootPath_;
    std::string directAddress_;
    // Past the bus, all to the application itself; the first is there from the beginning.
    std::vector<std::unique_ptr<BusConnection>> direct_;
    std::size_t turn_ = 0;
    bool spreads_ = false;
    std::vector<Peer> peers_;
};

}  // namespace varkel
