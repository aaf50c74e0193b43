#include "platform/linux/atspi/PeerConnectionPool.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "base/StartThread.h"

namespace varkel {

namespace {

/// Idle connections to all applications together.
constexpr std::size_t maxIdle = 256;

/// Applications whose address is remembered.
constexpr std::size_t maxApplications = 1024;

}  // namespace

PeerConnectionPool::~PeerConnectionPool() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        wakeReader();
    }
    if (reader_.joinable()) reader_.join();
}

std::unique_ptr<BusConnection> PeerConnectionPool::acquire(const Application& application, Need need) {
    const std::lock_guard lock(mutex_);
    const auto found = applications_.find(application);
    if (found == applications_.end()) return nullptr;
    if (need == Need::more && found->second.used >= perRequest) return nullptr;
    auto& idle = found->second.idle;
    while (!idle.empty()) {
        auto connection = std::move(idle.back());
        idle.pop_back();
        --idle_;
        if (!connection->isAlive()) continue;
        ++found->second.used;
        return connection;
    }
    return nullptr;
}

bool PeerConnectionPool::reserve(const Application& application, Need need) {
    const std::lock_guard lock(mutex_);
    Connections& connections = applications_[application];
    const std::size_t most = need == Need::first ? perApplication : perRequest;
    if (connections.idle.size() + connections.used >= most) return false;
    ++connections.used;
    return true;
}

void PeerConnectionPool::rememberAddress(const Application& application, const std::string& address) {
    const std::lock_guard lock(mutex_);
    applications_[application].address = address;
}

void PeerConnectionPool::release(const Application& application, std::unique_ptr<BusConnection> connection) {
    const std::lock_guard lock(mutex_);
    const auto found = applications_.find(application);
    if (found == applications_.end()) return;
    Connections& connections = found->second;
    --connections.used;
    const bool isGood =
        connection && connection->outstanding() == 0 && connection->isReady() && connection->isAlive();
    // Without the thread that reads them, events would pile up on an idle connection.
    if (isGood && wakeReader()) {
        connections.idle.push_back(std::move(connection));
        ++idle_;
    }
    if (connections.isUnused()) applications_.erase(found);
    evict();
}

std::string PeerConnectionPool::address(const Application& application) {
    const std::lock_guard lock(mutex_);
    const auto found = applications_.find(application);
    return found == applications_.end() ? "" : found->second.address;
}

/// Called with the lock held. Drops idle connections and unused addresses beyond the limits.
void PeerConnectionPool::evict() {
    for (auto at = applications_.begin(); at != applications_.end();) {
        const bool tooMany = idle_ > maxIdle || applications_.size() > maxApplications;
        if (!tooMany) return;
        if (at->second.used > 0) {
            ++at;
            continue;
        }
        idle_ -= at->second.idle.size();
        at = applications_.erase(at);
    }
}

/// Called with the lock held. False when there is no reader and none can be had.
bool PeerConnectionPool::wakeReader() {
    if (!reader_.joinable()) {
        if (stopping_) return false;
        wake_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        if (!wake_) return false;
        if (!startThread(reader_, [this] { readIdleConnections(); })) return false;
    }
    const std::uint64_t one = 1;
    // A full counter wakes as well.
    [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
    return true;
}

void PeerConnectionPool::readIdleConnections() {
    std::vector<pollfd> watched;
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        watched.assign(1, {wake_.get(), POLLIN, 0});
        for (const auto& [application, connections] : applications_) {
            for (const auto& connection : connections.idle) watched.push_back({connection->fd(), POLLIN, 0});
        }
        lock.unlock();
        // A connection that is acquired meanwhile causes one wake-up with nothing to do.
        ::poll(watched.data(), watched.size(), -1);
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(wake_.get(), &count, sizeof count);
        lock.lock();
        discardReceived();
    }
}

/// Called with the lock held. Discards what idle connections have received, and those that have ended.
void PeerConnectionPool::discardReceived() {
    for (auto at = applications_.begin(); at != applications_.end();) {
        Connections& connections = at->second;
        for (auto& connection : connections.idle) connection->serve();
        idle_ -=
            std::erase_if(connections.idle, [](const auto& connection) { return !connection->isAlive(); });
        at = connections.isUnused() ? applications_.erase(at) : std::next(at);
    }
}

}  // namespace varkel
