#include "ax/AXTreeCache.h"

#include <utility>

#include "ax/ChangeCounter.h"
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

TreeSnapshotRef AXTreeCache::get(pid_t key, std::optional<pid_t> frontmostPid) {
    const double time = now();
    // Trees may be large: here and below they are let go of after the lock.
    decltype(cache_) dropped;
    const std::scoped_lock lock(mutex_);
    if (lastFrontmostPid_ && lastFrontmostPid_ != frontmostPid) dropped.swap(cache_);
    lastFrontmostPid_ = frontmostPid;
    const auto found = cache_.find(key);
    if (found != cache_.end() && time - found->second.timestamp <= ttl) {
        return found->second.tree;
    }
    if (found != cache_.end()) dropped.insert(cache_.extract(found));
    return nullptr;
}

void AXTreeCache::set(pid_t key, TreeSnapshotRef tree, std::uint64_t changeCount) {
    Entry entry{std::move(tree), now()};
    const std::scoped_lock lock(mutex_);
    // Under the lock: a change that is counted after this empties the cache after that.
    if (globalChangeCounter().value() == changeCount) std::swap(cache_[key], entry);
}

void AXTreeCache::invalidateAll() {
    decltype(cache_) dropped;
    const std::scoped_lock lock(mutex_);
    dropped.swap(cache_);
}

}  // namespace varkel
