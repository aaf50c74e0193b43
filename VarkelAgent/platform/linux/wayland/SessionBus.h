#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Deadline.h"
#include "platform/linux/atspi/SdBus.h"

namespace varkel {

/// A connection to the session's message bus, for questions one at a time, and for what others say unasked:
/// signals, and calls of this process. One thread at a time; every wait has a deadline.
class SessionBus {
  public:
    /// Gets every signal that was subscribed to, and every call, which is answered with nothing.
    using Handler = std::function<void(sd_bus_message* message)>;

    /// The answer to a call, or why there is none.
    struct Answer {
        SdBusMessage message;
        /// In the words of the other side; empty where it said nothing.
        std::string error;
        explicit operator bool() const { return message != nullptr; }
    };

    SessionBus() = default;
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;
    ~SessionBus() { disconnect(); }

    /// Makes sure that there is a connection. False when there is none by the deadline.
    bool connect(Deadline deadline);
    bool isConnected() const { return bus_ != nullptr; }
    /// Ends the connection, and with it what others keep for it.
    void disconnect();

    /// The name that others know this connection by.
    std::string uniqueName() const;

    /// A message for call() and send(); null when there is no connection.
    SdBusMessage newCall(const MethodCall& call);

    /// Asks and waits. A connection that ended meanwhile is noticed by isConnected().
    Answer call(SdBusMessage message, Deadline deadline);

    /// Queues a call whose answer is of no interest; the next call() sends it before its own.
    void send(SdBusMessage message);

    /// The property of an object; null when it does not tell.
    SdBusMessage property(const char* destination, const char* path, const char* interface, const char* name,
                          Deadline deadline);

    /// Whether a name has an owner now.
    bool hasOwner(const char* name, Deadline deadline);

    void setHandler(Handler handler) { handler_ = std::move(handler); }
    /// Has the bus deliver the signals that a match rule names.
    void subscribe(const std::string& rule);

    /// Hands what comes to the handler until `done` is true. False when that did not happen in time.
    bool processUntil(const std::function<bool()>& done, Deadline deadline);

  private:
    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);

    sd_bus* bus_ = nullptr;
    Handler handler_;
};

}  // namespace varkel
