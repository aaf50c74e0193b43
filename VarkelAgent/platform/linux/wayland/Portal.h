#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "platform/linux/wayland/SessionBus.h"

namespace varkel {

/// The service by which a desktop lets programs do what it asks the person about. One thread at a time.
class Portal {
  public:
    enum class Outcome {
        done,
        /// By the person.
        refused,
        /// It has gone, does not answer, or cannot do it.
        failed,
    };

    static constexpr const char* service = "org.freedesktop.portal.Desktop";
    static constexpr const char* path = "/org/freedesktop/portal/desktop";

    /// `bus` is connected, outlives this object, and loses its handler to it.
    explicit Portal(SessionBus& bus);
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;
    ~Portal() { bus_.setHandler(nullptr); }

    /// Whether it offers an interface: its version, 0 when it does not.
    static std::uint32_t versionOf(SessionBus& bus, const char* interface, Deadline deadline);

    /// A new call of an interface, into whose options goes a "handle_token" with token().
    SdBusMessage newCall(const char* interface, const char* member);
    const std::string& token();

    /// Sends the call whose token was the last one, and waits until it is answered, maybe by the person.
    /// `read` gets the results (a{sv}) of one that was done.
    Outcome ask(SdBusMessage message, const std::function<void(sd_bus_message*)>& read, Deadline deadline);

  private:
    void take(sd_bus_message* message);

    SessionBus& bus_;
    std::string token_;
    /// Of all portals: the paths of one connection's requests must differ.
    static inline std::atomic<unsigned> tokens_ = 0;
    std::string request_;
    /// The connection that has taken the request.
    std::string owner_;
    std::function<void(sd_bus_message*)> read_;
    bool answered_ = false;
    Outcome outcome_ = Outcome::failed;
};

}  // namespace varkel
