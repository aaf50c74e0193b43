#pragma once

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "base/FileDescriptor.h"
#include "platform/linux/atspi/SdBus.h"

namespace varkel {

/// A pool of peer-to-peer connections to applications, which outlive the requests that use them. An
/// application's toolkit does not clean up after a connection that ends: each one costs it memory and makes
/// its main loop slower for as long as the application lives. A thread of the pool reads and discards what
/// applications send on idle connections (events), so that it piles up nowhere. Any thread.
class PeerConnectionPool {
  public:
    /// Connections that one request uses at once.
    static constexpr std::size_t perRequest = 8;

    /// Connections to one application, as many as there are usually requests at once. A request that gets
    /// none goes over the bus: one more connection would cost the application more, and for good.
    static constexpr std::size_t perApplication = 32;

    PeerConnectionPool() = default;
    PeerConnectionPool(const PeerConnectionPool&) = delete;
    PeerConnectionPool& operator=(const PeerConnectionPool&) = delete;
    ~PeerConnectionPool();

    /// The application at the other end, by process and bus name: the number of a process that has ended goes
    /// to another one while a child holds the connections open, but the bus gives a name only once.
    struct Application {
        pid_t pid = 0;
        std::string busName;

        bool operator<(const Application& other) const {
            return std::tie(pid, busName) < std::tie(other.pid, other.busName);
        }
    };

    enum class Need { first, more };

    /// Takes an idle connection to an application out of the pool, until release(); null when none is alive.
    /// With Need::more, also null while perRequest connections are in use: or else as many requests at once
    /// would come to eight times as many connections.
    std::unique_ptr<BusConnection> acquire(const Application& application, Need need);

    /// Reserves a place for one more connection, which the caller then opens; false when there are enough.
    /// release() ends the reservation, with null when the connection could not be opened.
    bool reserve(const Application& application, Need need);

    /// Remembers the address of an application to which the caller has a connection.
    void rememberAddress(const Application& application, const std::string& address);

    /// Puts a connection back into the pool, or closes it when it has failed or has calls outstanding.
    void release(const Application& application, std::unique_ptr<BusConnection> connection);

    /// The address at which an application was last reached past the bus; empty when it is not known.
    std::string address(const Application& application);

  private:
    struct Connections {
        std::string address;
        std::vector<std::unique_ptr<BusConnection>> idle;
        std::size_t used = 0;

        bool isUnused() const { return idle.empty() && used == 0; }
    };

    bool wakeReader();
    void readIdleConnections();
    void discardReceived();
    void evict();

    std::mutex mutex_;
    std::map<Application, Connections> applications_;
    std::size_t idle_ = 0;
    bool stopping_ = false;
    FileDescriptor wake_;
    std::thread reader_;
};

}  // namespace varkel
