#pragma once

#include <wayland-client.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varkel {

/// Owns an object of the Wayland connection, and destroys it by the function that its interface has for it.
template <class T, void (*destroy)(T*)>
struct WaylandDeleter {
    void operator()(T* object) const { destroy(object); }
};
template <class T, void (*destroy)(T*)>
using WaylandPtr = std::unique_ptr<T, WaylandDeleter<T, destroy>>;

/// A connection to a Wayland compositor, whose every wait has a deadline. One thread at a time.
///
/// Objects made on it are destroyed before disconnect(); a call that fails leaves the connection of no more
/// use.
class WaylandConnection {
  public:
    using Clock = std::chrono::steady_clock;

    WaylandConnection() = default;
    WaylandConnection(const WaylandConnection&) = delete;
    WaylandConnection& operator=(const WaylandConnection&) = delete;
    ~WaylandConnection() { disconnect(); }

    /// Connects to the compositor that WAYLAND_DISPLAY names and learns what it offers. False when none
    /// answers in time.
    bool connect(Clock::time_point deadline);
    /// The compositor's socket in the file system; empty when the environment names none.
    static std::string socketPath();
    bool isConnected() const { return display_ != nullptr; }
    /// Whether the compositor has ended it, as far as can be told without waiting.
    bool hasEnded() const;
    void disconnect();

    /// Waits until the compositor has carried out all that was asked of it. False when it did not.
    bool synchronise(Clock::time_point deadline);

    /// Takes in what the compositor sends until `done` is true. False when that did not happen in time.
    bool dispatchUntil(const std::function<bool()>& done, Clock::time_point deadline);

    /// Takes in what the compositor has sent until now. Does not block.
    void takeEvents();

    /// Whether the compositor offers an interface.
    bool offers(std::string_view interface) const;

    /// The first object that the compositor offers of an interface, at most of this version; null when there
    /// is none. The caller owns it.
    template <class T>
    T* bind(const wl_interface& interface, std::uint32_t version) {
        return static_cast<T*>(bindFirst(interface, version));
    }

    /// All of them.
    template <class T>
    std::vector<T*> bindAll(const wl_interface& interface, std::uint32_t version) {
        std::vector<T*> objects;
        for (const Global& each : globals_) {
            if (each.interface == interface.name)
                objects.push_back(static_cast<T*>(bind(each, interface, version)));
        }
        return objects;
    }

  private:
    struct Global {
        std::uint32_t name;
        std::string interface;
        std::uint32_t version;
    };

    void* bindFirst(const wl_interface& interface, std::uint32_t version);
    void* bind(const Global& global, const wl_interface& interface, std::uint32_t version);
    bool readOnce(Clock::time_point deadline);
    static void addGlobal(void* self, wl_registry* registry, std::uint32_t name, const char* interface,
                          std::uint32_t version);
    static void removeGlobal(void* self, wl_registry* registry, std::uint32_t name);

    wl_display* display_ = nullptr;
    wl_registry* registry_ = nullptr;
    std::vector<Global> globals_;
};

}  // namespace varkel
