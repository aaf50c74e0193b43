#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/atspi/PeerConnectionPool.h"
#include "platform/linux/atspi/SdBus.h"

namespace varkel {

/// No call on a bus or to an application waits longer than this for a sign of life.
inline constexpr Deadline::Duration callLimit{2000};

/// Where an accessible object lives: the bus name of its application and its path there.
struct AtspiReference {
    std::string busName;
    std::string path;
};

/// An application on the accessibility bus.
struct AtspiApplication {
    AtspiReference root;
    pid_t pid = 0;
};

/// What is the same for all objects of an application, for as long as it lives.
struct AtspiToolkit {
    /// Its toolkit by the application's own account, such as "gtk" or "Chromium"; empty when it does not say.
    std::string name;
    /// Whether its objects know of identifiers at all.
    bool hasIdentifiers = false;
    /// Until when it is of no use to ask it for a tree that it does not build by itself: that was tried.
    Deadline dormantUntil = Deadline::in(Deadline::Duration::zero());
};

/// The session's accessibility bus: finds it, notices when it goes, finds it again. Any thread.
class AtspiBus {
  public:
    /// A connection to the bus for one thread's use; goes back to be used again when it is still good.
    class Lease {
      public:
        Lease(AtspiBus& owner, std::unique_ptr<BusConnection> connection, std::uint64_t generation)
            : owner_(&owner), connection_(std::move(connection)), generation_(generation) {}
        Lease(Lease&&) noexcept = default;
        Lease& operator=(Lease&&) = delete;
        ~Lease();

        BusConnection& operator*() const { return *connection_; }
        BusConnection* operator->() const { return connection_.get(); }

      private:
        AtspiBus* owner_;
        std::unique_ptr<BusConnection> connection_;
        std::uint64_t generation_;
    };

    /// Whether the bus answers; connects when there is no connection. Waits callLimit at most.
    bool isReachable();

    /// Whether there is a connection now, without waiting.
    bool isKnownReachable();

    /// From now on, turn the session's accessibility status on whenever the bus is found.
    void announceOnConnect();

    /// Turns the session's accessibility status on, for a desktop whose accessibility bus does not run before
    /// it is asked for. Waits callLimit at most.
    void turnStatusOn();

    /// A connection to the bus, or nothing when it cannot be reached by the deadline.
    std::optional<Lease> lease(Deadline deadline);

    /// The applications that have registered, with the processes that own their connections.
    std::vector<AtspiApplication> applications(BusConnection& bus, Deadline deadline);

    /// The process that owns a bus name.
    std::optional<pid_t> pidOf(BusConnection& bus, const std::string& busName, Deadline deadline);

    /// An application's toolkit; nothing when the application does not answer.
    std::optional<AtspiToolkit> toolkit(BusConnection& bus, const AtspiApplication& application,
                                        Deadline deadline);

    /// Remembers that an application did not build its tree when it was asked to, and when to ask again.
    void learnThatItStaysDormant(const std::string& busName, Deadline until);

    /// Where an application can be reached past the bus, and a connection there, from peerConnections() or
    /// for it. Null when there are enough, or the application offers none that leads to its own process;
    /// `frozen` when it did not answer at all.
    struct PeerConnection {
        std::string address;
        std::unique_ptr<BusConnection> connection;
        bool frozen = false;
    };
    PeerConnection connectToPeer(BusConnection& bus, const AtspiApplication& application, Deadline deadline);

    /// The pool of connections past the bus.
    PeerConnectionPool& peerConnections() { return peerConnections_; }

    /// Begins to open one more connection to an address that connectToPeer() gave. Null when it leads
    /// elsewhere by now.
    static std::unique_ptr<BusConnection> beginPeerConnection(const std::string& address, pid_t pid);

  private:
    bool connect();
    void release(std::unique_ptr<BusConnection> connection, std::uint64_t generation);
    /// What has been learnt of the owner of a bus name.
    struct Peer {
        std::optional<pid_t> pid;
        std::optional<AtspiToolkit> toolkit;
    };

    Peer known(const std::string& busName);
    std::uint64_t generation();
    void learn(const std::string& busName, std::uint64_t generation, const std::function<void(Peer&)>& what);
    void stayKnownTo(const AtspiApplication& application);
    PeerConnection openPeerConnection(BusConnection& bus, const AtspiApplication& application,
                                      Deadline deadline);

    // Held while connecting, so that one thread does it and the others wait for it.
    std::mutex connecting_;
    // Guards what follows; never held across a wait.
    std::mutex mutex_;
    std::uint64_t attempts_ = 0;
    bool announce_ = false;
    std::string address_;
    // Counts the buses found; what was learnt of one means nothing on the next.
    std::uint64_t generation_ = 0;
    // Lives as long as the bus, and asks nothing: its end tells that the bus is gone.
    std::unique_ptr<BusConnection> sentinel_;
    std::vector<std::unique_ptr<BusConnection>> idle_;
    std::map<std::string, Peer> peers_;
    PeerConnectionPool peerConnections_;
};

}  // namespace varkel
