#include "platform/linux/atspi/DirectLines.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <system_error>
#include <utility>

namespace varkel {

namespace {

/// Connections that nobody uses, to all applications together.
constexpr std::size_t maxIdle = 256;

/// Applications whose address is remembered.
constexpr std::size_t maxApplications = 1024;

}  // namespace

DirectLines::~DirectLines() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        wakeKeeper();
    }
    if (keeper_.joinable()) keeper_.join();
}

std::unique_ptr<BusConnection> DirectLines::take(const Application& application, Need need) {
    const std::lock_guard lock(mutex_);
    const auto found = applications_.find(application);
    if (found == applications_.end()) return nullptr;
    if (need == Need::more && found->second.used >= perRequest) return nullptr;
    auto& idle = found->second.idle;
    while (!idle.empty()) {
        auto line = std::move(idle.back());
        idle.pop_back();
        --idle_;
        if (!line->isAlive()) continue;
        ++found->second.used;
        return line;
    }
    return nullptr;
}

bool DirectLines::reserve(const Application& application, Need need) {
    const std::lock_guard lock(mutex_);
    Lines& lines = applications_[application];
    const std::size_t most = need == Need::first ? perApplication : perRequest;
    if (lines.idle.size() + lines.used >= most) return false;
    ++lines.used;
    return true;
}

void DirectLines::learnAddress(const Application& application, const std::string& address) {
    const std::lock_guard lock(mutex_);
    applications_[application].address = address;
}

void DirectLines::giveBack(const Application& application, std::unique_ptr<BusConnection> line) {
    const std::lock_guard lock(mutex_);
    const auto found = applications_.find(application);
    if (found == applications_.end()) return;
    Lines& lines = found->second;
    --lines.used;
    const bool isGood = line && line->outstanding() == 0 && line->isReady() && line->isAlive();
    // What nobody reads off must not be kept.
    if (isGood && wakeKeeper()) {
        lines.idle.push_back(std::move(line));
        ++idle_;
    }
    if (lines.isUnused()) applications_.erase(found);
    forgetSome();
}

std::string DirectLines::address(const Application& application) {
    const std::lock_guard lock(mutex_);
    const auto found = applications_.find(application);
    return found == applications_.end() ? "" : found->second.address;
}

/// Called with the lock held. Makes room for what is used now.
void DirectLines::forgetSome() {
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

/// Called with the lock held. False when there is no keeper and none can be had.
bool DirectLines::wakeKeeper() {
    if (!keeper_.joinable()) {
        if (stopping_) return false;
        wake_.reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        if (!wake_) return false;
        try {
            keeper_ = std::thread([this] { keep(); });
        } catch (const std::system_error&) {
            return false;
        }
    }
    const std::uint64_t one = 1;
    // A full counter wakes as well.
    [[maybe_unused]] const auto written = ::write(wake_.get(), &one, sizeof one);
    return true;
}

void DirectLines::keep() {
    std::vector<pollfd> watched;
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        watched.assign(1, {wake_.get(), POLLIN, 0});
        for (const auto& [application, lines] : applications_) {
            for (const auto& line : lines.idle) watched.push_back({line->fd(), POLLIN, 0});
        }
        lock.unlock();
        // A connection that is taken meanwhile wakes this for nothing, once.
        ::poll(watched.data(), watched.size(), -1);
        std::uint64_t count = 0;
        [[maybe_unused]] const auto read = ::read(wake_.get(), &count, sizeof count);
        lock.lock();
        readOff();
    }
}

/// Called with the lock held. Throws away what has come, and the connections that have ended.
void DirectLines::readOff() {
    for (auto at = applications_.begin(); at != applications_.end();) {
        Lines& lines = at->second;
        for (auto& line : lines.idle) line->serve();
        idle_ -= std::erase_if(lines.idle, [](const auto& line) { return !line->isAlive(); });
        at = lines.isUnused() ? applications_.erase(at) : std::next(at);
    }
}

}  // namespace varkel
