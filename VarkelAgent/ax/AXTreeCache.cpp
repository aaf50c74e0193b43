#include "ax/AXTreeCache.h"

#include <utility>

#include "ax/AX+Shared.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

double now() {
    return Platform::current().clock->timeIntervalSince1970();
}

/// No process has this id, so it can stand for 'no application'.
constexpr pid_t noPid = 0;

}  // namespace

pid_t AXTreeCache::keyFor(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid) {
    return rootPid ? *rootPid : frontmostPid.value_or(noPid);
}

AXTreeCache& AXTreeCache::shared() {
    static AXTreeCache cache;
    return cache;
}

TreeSnapshotRef AXTreeCache::get(std::optional<pid_t> rootPid) {
    return get(rootPid, frontmostApplicationPid());
}

TreeSnapshotRef AXTreeCache::get(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid) {
    const pid_t key = keyFor(rootPid, frontmostPid);
    const double time = now();
    const std::scoped_lock lock(mutex_);
    if (lastFrontmostPid_ && lastFrontmostPid_ != frontmostPid) cache_.clear();
    lastFrontmostPid_ = frontmostPid;
    if (TreeSnapshotRef tree = freshEntry(key, time)) {
        ++hitCount_;
        return tree;
    }
    cache_.erase(key);
    ++missCount_;
    return nullptr;
}

TreeSnapshotRef AXTreeCache::getIfFresh(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid) {
    const pid_t key = keyFor(rootPid, frontmostPid);
    const double time = now();
    const std::scoped_lock lock(mutex_);
    if (lastFrontmostPid_ != frontmostPid) return nullptr;
    TreeSnapshotRef tree = freshEntry(key, time);
    if (tree) ++hitCount_;
    return tree;
}

TreeSnapshotRef AXTreeCache::freshEntry(pid_t key, double time) const {
    const auto found = cache_.find(key);
    if (found == cache_.end() || time - found->second.timestamp > ttl) return nullptr;
    return found->second.tree;
}

void AXTreeCache::set(std::optional<pid_t> rootPid, TreeSnapshotRef tree) {
    const pid_t key = keyFor(rootPid, rootPid ? std::nullopt : frontmostApplicationPid());
    const double time = now();
    // The tree that this one replaces may be large: it is freed after the lock.
    Entry entry{std::move(tree), time};
    const std::scoped_lock lock(mutex_);
    std::swap(cache_[key], entry);
}

void AXTreeCache::invalidateAll() {
    decltype(cache_) dropped;
    const std::scoped_lock lock(mutex_);
    dropped.swap(cache_);
}

std::uint64_t AXTreeCache::hitCount() const {
    const std::scoped_lock lock(mutex_);
    return hitCount_;
}

std::uint64_t AXTreeCache::missCount() const {
    const std::scoped_lock lock(mutex_);
    return missCount_;
}

}  // namespace varkel
