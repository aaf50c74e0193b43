#pragma once

#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "ax/TreeSnapshot.h"

namespace varkel {

/// The last tree of each process, for one second. All trees go when something is done to the desktop or when
/// another application has come to the front. Any thread; the lock is never held across a call to the
/// desktop.
class AXTreeCache {
  public:
    static AXTreeCache& shared();

    /// The key of a request's tree: its root pid, else the frontmost application's, else 0.
    static pid_t keyFor(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid);

    /// The fresh tree under a key for a request that has just asked which application is in front; null on a
    /// miss.
    TreeSnapshotRef get(pid_t key, std::optional<pid_t> frontmostPid);

    /// Keeps a tree under a key, unless something has been done to the desktop since its reading began, when
    /// `changeCount` was the number of changes.
    void set(pid_t key, TreeSnapshotRef tree, std::uint64_t changeCount);

    /// Drops all trees. After the change counter has been incremented.
    void invalidateAll();

  private:
    struct Entry {
        TreeSnapshotRef tree;
        double timestamp;
    };

    /// Seconds that an entry stays usable.
    static constexpr double ttl = 1.0;

    mutable std::mutex mutex_;
    std::unordered_map<pid_t, Entry> cache_;
    std::optional<pid_t> lastFrontmostPid_;
};

}  // namespace varkel
