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

    /// The fresh tree of a process, or of the frontmost application without a root pid; null on a miss.
    TreeSnapshotRef get(std::optional<pid_t> rootPid);

    /// The same for who has just asked which application is in front.
    TreeSnapshotRef get(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid);

    /// What get() would answer with this application in front, when that is a tree. Otherwise null, with
    /// nothing counted or dropped: the caller goes on to get().
    TreeSnapshotRef getIfFresh(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid);

    /// Keeps a tree under the root pid, or under the frontmost application's without one.
    void set(std::optional<pid_t> rootPid, TreeSnapshotRef tree);

    void invalidateAll();

    /// The key of a request's tree: its root pid, else the frontmost application's, else 0.
    static pid_t keyFor(std::optional<pid_t> rootPid, std::optional<pid_t> frontmostPid);

    std::uint64_t hitCount() const;
    std::uint64_t missCount() const;

  private:
    struct Entry {
        TreeSnapshotRef tree;
        double timestamp;
    };

    /// Seconds that an entry stays usable.
    static constexpr double ttl = 1.0;

    /// The entry's tree when it is young enough at this time; null otherwise. Under the lock.
    TreeSnapshotRef freshEntry(pid_t key, double time) const;

    mutable std::mutex mutex_;
    std::unordered_map<pid_t, Entry> cache_;
    std::uint64_t hitCount_ = 0;
    std::uint64_t missCount_ = 0;
    std::optional<pid_t> lastFrontmostPid_;
};

}  // namespace varkel
