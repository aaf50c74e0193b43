#pragma once

#include <boost/json/value.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/FileDescriptor.h"
#include "platform/linux/wayland/SwayTree.h"

namespace varkel {

/// A connection to sway's socket, which SWAYSOCK names. One thread at a time; every call has a deadline. A
/// call that fails ends the connection, and the next one makes a new one.
class SwayIPC {
  public:
    using Clock = std::chrono::steady_clock;

    enum class Message : std::uint32_t { runCommand = 0, subscribe = 2, getTree = 4 };

    /// Whether this process was started in a session of sway's.
    static bool isNamed();

    /// Asks, and gives the answer; nothing when none came.
    std::optional<boost::json::value> ask(Message message, std::string_view payload,
                                          Clock::time_point deadline);

    /// What may have changed since the last call.
    struct Changes {
        bool windows = false;
        bool keyboards = false;
    };

    /// By the events that have come of those subscribed to; everything when the connection has ended. Does
    /// not block.
    Changes takeEvents();

    bool isConnected() const { return static_cast<bool>(socket_); }

  private:
    struct Frame {
        std::uint32_t type = 0;
        std::string payload;
    };

    std::optional<boost::json::value> exchange(Message message, std::string_view payload,
                                               Clock::time_point deadline);
    bool send(Message message, std::string_view payload, Clock::time_point deadline);
    bool awaitSocket(short events, Clock::time_point deadline);
    bool receiveMore();
    std::optional<Frame> takeFrame();

    FileDescriptor socket_;
    std::string received_;
};

/// What sway says about its windows. What was read last stays valid until sway tells of a change, so asking
/// again costs no wait. One thread at a time.
class SwayWindowWatcher {
  public:
    /// The views as they are now; null when sway did not tell by then.
    const std::vector<SwayView>* ask(std::chrono::steady_clock::time_point deadline);

    /// As ask(), whether or not sway has told of a change: it tells of none when a window is moved.
    const std::vector<SwayView>* askAnew(std::chrono::steady_clock::time_point deadline);

    /// The views when they are known without waiting, otherwise null. Does not block.
    const std::vector<SwayView>* peek();

    /// Rises when sway may have given the keyboards other keymaps: it puts its own in the place of those that
    /// programs have set.
    std::uint64_t keyboardChanges() const { return keyboardChanges_; }

  private:
    void takeEvents();

    SwayIPC events_;
    SwayIPC questions_;
    bool current_ = false;
    std::uint64_t keyboardChanges_ = 0;
    std::vector<SwayView> views_;
};

}  // namespace varkel
