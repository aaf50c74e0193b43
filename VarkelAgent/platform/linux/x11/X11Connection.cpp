#include "platform/linux/x11/X11Connection.h"

#include <X11/Xauth.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>

#include "base/FileDescriptor.h"
#include "base/StartThread.h"

namespace varkel {

namespace {

struct DisplayName {
    std::string host;
    int display = 0;
    int screen = 0;
};

std::optional<DisplayName> parseDisplay(const std::string& name) {
    char* host = nullptr;
    DisplayName parsed;
    if (xcb_parse_display(name.empty() ? nullptr : name.c_str(), &host, &parsed.display, &parsed.screen) ==
        0) {
        return std::nullopt;
    }
    const XcbPtr<char> owned(host);
    parsed.host = host == nullptr ? "" : host;
    return parsed;
}

FileDescriptor connectLocal(const std::string& path, bool abstract) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t offset = abstract ? 1 : 0;
    if (path.size() + offset >= sizeof(address.sun_path)) return {};
    std::copy(path.begin(), path.end(), address.sun_path + offset);

    FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + offset + path.size());
    // A stopped server whose queue of callers is full would block here; the timer covers sends and connects.
    const timeval limit{2, 0};
    if (fd) setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (!fd || ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) return {};
    const timeval unlimited{};
    setsockopt(fd.get(), SOL_SOCKET, SO_SNDTIMEO, &unlimited, sizeof unlimited);
    return fd;
}

FileDescriptor connectToDisplay(const DisplayName& name) {
    if (!name.host.empty() && name.host != "unix") return {};
    const std::string path = "/tmp/.X11-unix/X" + std::to_string(name.display);
    // Any user of the machine may take an abstract name that the server leaves free, and would get the
    // cookie and all that is typed. The path is the server's.
    const bool hasPath = access(path.c_str(), F_OK) == 0;
    return connectLocal(path, !hasPath);
}

struct XauthDeleter {
    void operator()(Xauth* entry) const { XauDisposeAuth(entry); }
};

std::unique_ptr<Xauth, XauthDeleter> findAuthority(const DisplayName& name) {
    // The library keeps the name of its file in one buffer for all threads, and frees it to make it longer.
    static std::mutex library;
    const std::lock_guard lock(library);
    std::array<char, 256> host{};
    if (gethostname(host.data(), host.size() - 1) != 0) return nullptr;
    const std::string number = std::to_string(name.display);
    static constexpr std::string_view scheme = "MIT-MAGIC-COOKIE-1";
    return std::unique_ptr<Xauth, XauthDeleter>(
        XauGetAuthByAddr(FamilyLocal, static_cast<unsigned short>(std::strlen(host.data())), host.data(),
                         static_cast<unsigned short>(number.size()), number.c_str(),
                         static_cast<unsigned short>(scheme.size()), scheme.data()));
}

xcb_screen_t* screenNumber(xcb_connection_t* connection, int number) {
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screens.rem > 0; xcb_screen_next(&screens), --number) {
        if (number == 0) return screens.data;
    }
    return nullptr;
}

/// A server that went away says nothing; only the socket knows.
bool isAlive(xcb_connection_t* connection) {
    if (connection == nullptr || xcb_connection_has_error(connection) != 0) return false;
    pollfd socket{xcb_get_file_descriptor(connection), 0, 0};
    return poll(&socket, 1, 0) <= 0;
}

}  // namespace

X11Connection::X11Connection(std::string display) : display_(std::move(display)) {}

X11Connection::~X11Connection() {
    {
        const std::lock_guard lock(watchMutex_);
        stopping_ = true;
    }
    watchChanged_.notify_one();
    if (watcher_.joinable()) watcher_.join();
    if (connection_ != nullptr) xcb_disconnect(connection_);
}

/// Called with the watch's lock held. False when no thread can be had.
bool X11Connection::startWatching() {
    return watcher_.joinable() || startThread(watcher_, [this] { watch(); });
}

void X11Connection::watch() {
    std::unique_lock lock(watchMutex_);
    while (!stopping_) {
        if (watchedFd_ >= 0 && Clock::now() >= deadline_) {
            shutdown(watchedFd_, SHUT_RDWR);
            watchedFd_ = -1;
        } else if (watchedFd_ >= 0) {
            watchChanged_.wait_until(lock, deadline_);
        } else if (!connected_) {
            watchChanged_.wait(lock);
        } else if (watchChanged_.wait_until(lock, lastUse() + idleLimit) == std::cv_status::timeout) {
            lock.unlock();
            closeIfIdle();
            lock.lock();
        }
    }
}

X11Connection::Clock::time_point X11Connection::lastUse() const {
    return Clock::time_point(Clock::duration(lastUse_.load(std::memory_order_relaxed)));
}

void X11Connection::closeIfIdle() {
    const std::unique_lock lock(sessionMutex_, std::try_to_lock);
    if (lock.owns_lock() && Clock::now() >= lastUse() + idleLimit) disconnect();
}

void X11Connection::disconnect() {
    {
        // The descriptor is about to be closed and its number free for others.
        const std::lock_guard lock(watchMutex_);
        watchedFd_ = -1;
        connected_ = false;
    }
    if (connection_ != nullptr) xcb_disconnect(connection_);
    connection_ = nullptr;
    screen_ = nullptr;
}

/// Called with the session's deadline set. Only local servers are reached: the agent works the desktop of its
/// own machine.
void X11Connection::connect() {
    disconnect();
    atoms_.clear();
    ++generation_;

    const auto name = parseDisplay(display_);
    if (!name) return;
    FileDescriptor fd = connectToDisplay(*name);
    if (!fd) return;
    // The library closes its descriptor when the server refuses, and the number may go to another socket.
    const FileDescriptor watched(fcntl(fd.get(), F_DUPFD_CLOEXEC, 0));
    if (!watched) return;
    {
        const std::lock_guard lock(watchMutex_);
        watchedFd_ = watched.get();
        connected_ = true;
    }
    watchChanged_.notify_one();

    const auto authority = findAuthority(*name);
    xcb_auth_info_t credentials{};
    if (authority) {
        credentials = {authority->name_length, authority->name, authority->data_length, authority->data};
    }
    connection_ = xcb_connect_to_fd(fd.release(), authority ? &credentials : nullptr);
    {
        const std::lock_guard lock(watchMutex_);
        if (watchedFd_ >= 0) watchedFd_ = xcb_get_file_descriptor(connection_);
    }
    if (xcb_connection_has_error(connection_) == 0) screen_ = screenNumber(connection_, name->screen);
    if (screen_ == nullptr) disconnect();
}

X11Connection::Session::Session(X11Connection& owner, std::chrono::milliseconds deadline)
    : owner_(owner), lock_(owner.sessionMutex_, std::defer_lock) {
    const auto until = Clock::now() + deadline;
    if (!lock_.try_lock_until(until)) return;
    owner_.lastUse_.store(Clock::now().time_since_epoch().count(), std::memory_order_relaxed);
    const bool alive = isAlive(owner_.connection_);
    {
        const std::lock_guard watch(owner_.watchMutex_);
        // A call without a watching thread could wait for good.
        if (!owner_.startWatching()) {
            lock_.unlock();
            return;
        }
        owner_.deadline_ = until;
        owner_.watchedFd_ = alive ? xcb_get_file_descriptor(owner_.connection_) : -1;
    }
    owner_.watchChanged_.notify_one();
    if (!alive) owner_.connect();
}

X11Connection::Session::~Session() {
    if (!lock_.owns_lock()) return;
    if (owner_.connection_ != nullptr) xcb_flush(owner_.connection_);
    const std::lock_guard watch(owner_.watchMutex_);
    owner_.watchedFd_ = -1;
}

X11Connection::Session::operator bool() const {
    return lock_.owns_lock() && owner_.connection_ != nullptr &&
           xcb_connection_has_error(owner_.connection_) == 0;
}

xcb_atom_t X11Connection::Session::atom(std::string_view name) {
    const auto known = owner_.atoms_.find(name);
    if (known != owner_.atoms_.end()) return known->second;
    const XcbPtr<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        get(), xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    if (!reply) return XCB_ATOM_NONE;
    owner_.atoms_.emplace(name, reply->atom);
    return reply->atom;
}

std::vector<std::uint8_t> X11Connection::Session::propertyBytes(xcb_window_t window, std::string_view name,
                                                                int format, std::uint32_t maxBytes) {
    const XcbPtr<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        get(), xcb_get_property(get(), 0, window, atom(name), XCB_ATOM_ANY, 0, (maxBytes + 3) / 4), nullptr));
    if (!reply || reply->format != format) return {};
    const auto* bytes = static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get()));
    const int length = xcb_get_property_value_length(reply.get());
    return {bytes, bytes + std::max(length, 0)};
}

std::string X11Connection::Session::text(xcb_window_t window, std::string_view name) {
    const auto bytes = propertyBytes(window, name, 8, 65536);
    return {bytes.begin(), bytes.end()};
}

bool X11Connection::Session::synchronise() {
    const XcbPtr<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(get(), xcb_get_input_focus(get()), nullptr));
    return reply != nullptr;
}

}  // namespace varkel
