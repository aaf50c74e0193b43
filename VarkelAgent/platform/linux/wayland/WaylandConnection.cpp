#include "platform/linux/wayland/WaylandConnection.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "base/Environment.h"
#include "platform/linux/wayland/LocalSocket.h"

namespace varkel {

namespace {

/// Compositors offer some fifty.
constexpr std::size_t maxGlobals = 1000;

std::string variable(const char* name) {
    const auto found = environment().find(name);
    return found == environment().end() ? std::string() : found->second;
}

void setTrue(void* done, wl_callback* /*callback*/, std::uint32_t /*serial*/) {
    *static_cast<bool*>(done) = true;
}

}  // namespace

std::string WaylandConnection::socketPath() {
    std::string display = variable("WAYLAND_DISPLAY");
    if (display.empty() || display.front() == '/') return display;
    const std::string folder = variable("XDG_RUNTIME_DIR");
    return folder.empty() ? std::string() : folder + "/" + display;
}

bool WaylandConnection::connect(Clock::time_point deadline) {
    if (display_ != nullptr) return true;
    FileDescriptor socket = connectToLocalSocket(socketPath());
    if (!socket) return false;
    display_ = wl_display_connect_to_fd(socket.release());
    if (display_ == nullptr) return false;
    registry_ = wl_display_get_registry(display_);
    static constexpr wl_registry_listener listener{addGlobal, removeGlobal};
    if (registry_ != nullptr) wl_registry_add_listener(registry_, &listener, this);
    if (registry_ != nullptr && synchronise(deadline)) return true;
    disconnect();
    return false;
}

void WaylandConnection::disconnect() {
    globals_.clear();
    if (registry_ != nullptr) wl_registry_destroy(std::exchange(registry_, nullptr));
    if (display_ != nullptr) wl_display_disconnect(std::exchange(display_, nullptr));
}

bool WaylandConnection::hasEnded() const {
    if (display_ == nullptr || wl_display_get_error(display_) != 0) return true;
    pollfd socket{wl_display_get_fd(display_), 0, 0};
    return poll(&socket, 1, 0) > 0;
}

bool WaylandConnection::synchronise(Clock::time_point deadline) {
    if (display_ == nullptr) return false;
    const WaylandPtr<wl_callback, wl_callback_destroy> callback(wl_display_sync(display_));
    if (!callback) return false;
    bool done = false;
    static constexpr wl_callback_listener listener{setTrue};
    wl_callback_add_listener(callback.get(), &listener, &done);
    return dispatchUntil([&done] { return done; }, deadline);
}

bool WaylandConnection::dispatchUntil(const std::function<bool()>& done, Clock::time_point deadline) {
    while (!done()) {
        if (!readOnce(deadline)) return false;
    }
    return true;
}

/// Sends what waits to be sent, waits for the compositor to send something, and dispatches it.
bool WaylandConnection::readOnce(Clock::time_point deadline) {
    if (display_ == nullptr) return false;
    if (wl_display_prepare_read(display_) != 0) return wl_display_dispatch_pending(display_) >= 0;
    const bool full = wl_display_flush(display_) < 0;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if ((full && errno != EAGAIN) || left <= 0) {
        wl_display_cancel_read(display_);
        return false;
    }
    const auto events = static_cast<short>(full ? POLLIN | POLLOUT : POLLIN);
    pollfd socket{wl_display_get_fd(display_), events, 0};
    const int ready = poll(&socket, 1, static_cast<int>(left));
    const bool interrupted = ready < 0 && errno == EINTR;
    if ((socket.revents & POLLIN) == 0) {
        wl_display_cancel_read(display_);
        return interrupted || (socket.revents & POLLOUT) != 0;
    }
    return wl_display_read_events(display_) >= 0 && wl_display_dispatch_pending(display_) >= 0;
}

void WaylandConnection::takeEvents() {
    if (display_ == nullptr || wl_display_dispatch_pending(display_) < 0) return;
    pollfd socket{wl_display_get_fd(display_), POLLIN, 0};
    if (poll(&socket, 1, 0) > 0 && (socket.revents & POLLIN) != 0)
        readOnce(Clock::now() + std::chrono::milliseconds(1));
}

bool WaylandConnection::offers(std::string_view interface) const {
    return std::ranges::any_of(globals_, [&](const Global& each) { return each.interface == interface; });
}

void* WaylandConnection::bindFirst(const wl_interface& interface, std::uint32_t version) {
    const auto found = std::ranges::find(globals_, interface.name, &Global::interface);
    return found == globals_.end() ? nullptr : bind(*found, interface, version);
}

void* WaylandConnection::bind(const Global& global, const wl_interface& interface, std::uint32_t version) {
    return wl_registry_bind(registry_, global.name, &interface, std::min(global.version, version));
}

void WaylandConnection::addGlobal(void* self, wl_registry* /*registry*/, std::uint32_t name,
                                  const char* interface, std::uint32_t version) {
    auto& globals = static_cast<WaylandConnection*>(self)->globals_;
    if (globals.size() < maxGlobals) globals.push_back({name, interface, version});
}

void WaylandConnection::removeGlobal(void* self, wl_registry* /*registry*/, std::uint32_t name) {
    std::erase_if(static_cast<WaylandConnection*>(self)->globals_,
                  [name](const Global& each) { return each.name == name; });
}

}  // namespace varkel
