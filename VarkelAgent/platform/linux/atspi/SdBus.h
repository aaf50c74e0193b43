#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "base/Deadline.h"

namespace varkel {

struct SdBusMessageUnref {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using SdBusMessage = std::unique_ptr<sd_bus_message, SdBusMessageUnref>;

/// What a method call came to.
enum class CallOutcome {
    /// `reply` is the answer.
    replied,
    /// The other side has no such object, interface, method or property.
    unsupported,
    /// Any other error reply, or a call that could not be made.
    refused,
    /// No answer in time, or the connection ended first. What was asked for may have been done.
    unanswered,
    /// The connection ended before the call had left this process.
    unsent,
};

/// Gets the end of a call. `reply` is null unless `outcome` is replied, and gone after the handler returns.
/// Runs in the thread that serves the connection and may queue further calls there.
using ReplyHandler = std::function<void(CallOutcome outcome, sd_bus_message* reply)>;

/// One method call. The texts must outlive only the call to BusConnection::call().
struct MethodCall {
    /// The peer's bus name; null on a private connection, where there is only one peer.
    const char* destination;
    const char* path;
    const char* interface;
    const char* member;
};

/// Whether a connection leads to a message bus, or straight to one other process.
enum class BusKind { messageBus, peer };

/// A D-Bus connection that answers calls in bulk: any number is queued, a window of them is on its way at a
/// time. Nothing here waits longer than the deadline it is given. Belongs to one thread at a time.
class BusConnection {
  public:
    /// Connects and authenticates by the deadline; null when that fails.
    static std::unique_ptr<BusConnection> open(const std::string& address, BusKind kind, Deadline deadline);

    /// Begins to connect, without waiting; null when there is nothing to connect to. serveAll() brings it on
    /// while it serves others.
    static std::unique_ptr<BusConnection> begin(const std::string& address, BusKind kind);

    /// Whether it is connected and authenticated, as far as has been seen.
    bool isReady() const { return !dead_ && sd_bus_is_ready(bus_) > 0; }

    /// Whether it may still become ready.
    bool isOpening() const { return !dead_ && sd_bus_is_ready(bus_) == 0; }

    /// Whether a message was made by this connection's newCall(), so that only its call() may take it.
    bool made(const SdBusMessage& message) const {
        return message && sd_bus_message_get_bus(message.get()) == bus_;
    }

    BusConnection(const BusConnection&) = delete;
    BusConnection& operator=(const BusConnection&) = delete;
    ~BusConnection();

    /// Builds a message for call(); null when memory is short or a text is no valid D-Bus text.
    SdBusMessage newCall(const MethodCall& call);

    /// Queues a call. The handler is always called, from serve() or failOutstanding(); a null message is
    /// refused.
    void call(SdBusMessage message, ReplyHandler handler);

    /// Sends a call whose answer is of no interest, as far as that goes without waiting, and throws away what
    /// has arrived. For a connection on which nothing else is asked.
    void tell(SdBusMessage message);

    /// Sends what the window allows and handles what has arrived, without waiting. Returns whether anything
    /// moved.
    bool serve();

    /// Calls that have not been answered yet.
    std::size_t outstanding() const;

    /// Ends every outstanding call as unanswered, those that have not left yet as unsent, and the connection
    /// with them.
    void failOutstanding();

    /// Whether the other end is still there as far as is known without asking it. Does not wait.
    bool isAlive() const;

    /// What to poll for, and how long at most.
    int fd() const;
    short pollEvents() const;

    /// One call and its answer, by the deadline; null without one. For a connection with nothing else
    /// outstanding.
    SdBusMessage callAndWait(SdBusMessage message, Deadline deadline);

  private:
    struct Pending {
        BusConnection* owner;
        ReplyHandler handler;
        std::list<Pending>::iterator self;
    };

    explicit BusConnection(sd_bus* bus) : bus_(bus) {}
    void sendQueued();
    static int onReply(sd_bus_message* reply, void* userdata, sd_bus_error* error);

    sd_bus* bus_;
    std::deque<std::pair<SdBusMessage, ReplyHandler>> queued_;
    std::list<Pending> inFlight_;
    bool dead_ = false;
};

/// Serves the connections until none has calls outstanding; those that are still opening are brought on
/// meanwhile, and not waited for. A connection from which nothing comes for
/// `stallLimit`, or that has calls outstanding at the deadline, fails them and ends.
void serveAll(std::span<BusConnection* const> connections, Deadline::Duration stallLimit, Deadline deadline);

}  // namespace varkel
