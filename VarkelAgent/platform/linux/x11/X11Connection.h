#pragma once

#include <xcb/xcb.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/DeadlineMutex.h"

namespace varkel {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

/// What xcb hands out and expects to be freed.
template <class T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

/// One connection to the X server, whose every wait is bounded.
///
/// Calls into xcb are made between the construction and the destruction of a Session. A session that outlasts
/// its deadline has its socket shut down under it, by a thread that watches: whatever call was waiting (for a
/// reply, for room to write, for the greeting of a server that is stopped) returns at once with an error, and
/// the next session connects anew. So code in a session may use blocking xcb calls and libraries built on
/// them, and need only treat missing replies as failures.
///
/// One session at a time; a second thread that opens one waits for the first, no longer than its own
/// deadline.
class X11Connection {
  public:
    using Clock = std::chrono::steady_clock;

    /// A connection without use for this long is closed: events that are sent to it and not read would pile
    /// up in the server.
    static constexpr std::chrono::seconds idleLimit{30};

    /// How long a session may last unless it asks for something else.
    static constexpr std::chrono::milliseconds defaultDeadline{2000};

    /// `display` as in the environment variable DISPLAY; empty takes that variable at each connect.
    explicit X11Connection(std::string display = {});
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;
    ~X11Connection();

    class Session;

    /// Calls `use` with the connection when there is one and no thread is in a session, and returns whether
    /// it did. `use` must only make calls that never wait for the server, such as xcb_poll_for_event().
    template <class Use>
    bool withoutWaiting(Use use) {
        const std::unique_lock lock(sessionMutex_, std::try_to_lock);
        if (!lock.owns_lock() || connection_ == nullptr) return false;
        lastUse_.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
        use(connection_);
        return true;
    }

    /// Which connect this is; see Session::generation(). Only for use inside withoutWaiting().
    std::uint64_t generation() const { return generation_; }

  private:
    void connect();
    void disconnect();
    bool startWatching();
    void watch();
    void closeIfIdle();
    Clock::time_point lastUse() const;

    const std::string display_;

    DeadlineMutex sessionMutex_;
    std::atomic<Clock::rep> lastUse_{0};
    xcb_connection_t* connection_ = nullptr;
    xcb_screen_t* screen_ = nullptr;
    std::uint64_t generation_ = 0;
    std::map<std::string, xcb_atom_t, std::less<>> atoms_;

    /// Guards what the watching thread reads.
    std::mutex watchMutex_;
    std::condition_variable watchChanged_;
    int watchedFd_ = -1;
    bool connected_ = false;
    Clock::time_point deadline_;
    bool stopping_ = false;
    std::thread watcher_;
};

/// The right to use the connection for a while. See X11Connection.
class X11Connection::Session {
  public:
    explicit Session(X11Connection& owner, std::chrono::milliseconds deadline = defaultDeadline);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    /// False when there is no server to talk to, or no longer one. Calls on a dead connection fail fast.
    explicit operator bool() const;

    xcb_connection_t* get() const { return owner_.connection_; }
    const xcb_screen_t* screen() const { return owner_.screen_; }
    xcb_window_t root() const { return owner_.screen_->root; }

    /// Rises with every connect: what was learned of an earlier server is void.
    std::uint64_t generation() const { return owner_.generation_; }

    /// The atom of this name, made when there is none; XCB_ATOM_NONE on failure. Remembered.
    xcb_atom_t atom(std::string_view name);

    /// A property's value in units of `T`, at most `maxUnits` of them; empty when it is absent, of another
    /// format, or unreadable.
    template <class T>
    std::vector<T> property(xcb_window_t window, std::string_view name, std::uint32_t maxUnits = 4096);

    /// A text property's bytes; empty when it has none.
    std::string text(xcb_window_t window, std::string_view name);

    /// Waits until the server has carried out everything sent so far. False when it did not.
    bool synchronise();

  private:
    std::vector<std::uint8_t> propertyBytes(xcb_window_t window, std::string_view name, int format,
                                            std::uint32_t maxBytes);

    X11Connection& owner_;
    std::unique_lock<DeadlineMutex> lock_;
};

template <class T>
std::vector<T> X11Connection::Session::property(xcb_window_t window, std::string_view name,
                                                std::uint32_t maxUnits) {
    const auto bytes = propertyBytes(window, name, static_cast<int>(sizeof(T) * 8),
                                     maxUnits * static_cast<std::uint32_t>(sizeof(T)));
    std::vector<T> units(bytes.size() / sizeof(T));
    if (!units.empty())
        std::copy_n(bytes.data(), units.size() * sizeof(T), reinterpret_cast<std::uint8_t*>(units.data()));
    return units;
}

}  // namespace varkel
