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

/// The connections straight to applications that are kept between requests. An application's toolkit does not
/// clean up after a connection that ends: each one costs it memory and makes its main loop slower for as long
/// as it lives. What an application sends to a connection that nobody uses (events) is read off by a thread,
/// so that it piles up nowhere. Any thread.
class DirectLines {
  public:
    /// Connections that one request uses at once.
    static constexpr std::size_t perRequest = 8;

    /// Connections to one application, as many as there are usually requests at once. A request that gets
    /// none goes over the bus: one more connection would cost the application more, and for good.
    static constexpr std::size_t perApplication = 32;

    DirectLines() = default;
    DirectLines(const DirectLines&) = delete;
    DirectLines& operator=(const DirectLines&) = delete;
    ~DirectLines();

    /// Whom connections lead to. A process's number goes to another one when it has ended, and its
    /// connections need not end with it: what it started may hold them open. The bus gives a name only once.
    struct Application {
        pid_t pid = 0;
        std::string busName;

        bool operator<(const Application& other) const {
            return std::tie(pid, busName) < std::tie(other.pid, other.busName);
        }
    };

    enum class Need { first, more };

    /// A kept connection to an application, for the caller's use; null when there is none that is alive.
    /// Beyond its first one a request gets them only while few are in use: or else as many requests at once
    /// would come to eight times as many connections.
    std::unique_ptr<BusConnection> take(const Application& application, Need need);

    /// Whether one more connection to an application may be opened. It counts from now on; giveBack() ends
    /// that, with null when it could not be opened.
    bool reserve(const Application& application, Need need);

    /// Remembers where an application was reached. For who has a connection to it.
    void learnAddress(const Application& application, const std::string& address);

    /// Ends the use of a connection: it is kept when it is still good.
    void giveBack(const Application& application, std::unique_ptr<BusConnection> line);

    /// Where an application was last reached past the bus; empty when it is not known.
    std::string address(const Application& application);

  private:
    struct Lines {
        std::string address;
        std::vector<std::unique_ptr<BusConnection>> idle;
        std::size_t used = 0;

        bool isUnused() const { return idle.empty() && used == 0; }
    };

    bool wakeKeeper();
    void keep();
    void readOff();
    void forgetSome();

    std::mutex mutex_;
    std::map<Application, Lines> applications_;
    std::size_t idle_ = 0;
    bool stopping_ = false;
    FileDescriptor wake_;
    std::thread keeper_;
};

}  // namespace varkel
