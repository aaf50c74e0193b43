#pragma once

#include <sys/types.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "ax/TreeSnapshot.h"
#include "base/Task.h"

namespace varkel {

/// The trees that are being read. Requests for one application that come while its tree is being read share
/// what comes of it, unless something has been done to the desktop since the reading began. Any thread.
class SingleFlight {
  public:
    static SingleFlight& shared();

    /// What `read` gives or throws; called on a thread of the pool, and not at all when a tree of this
    /// process is being read since the desktop was last changed. `changeCount` is the number of changes so
    /// far, as the caller knows it before it calls.
    Task<TreeSnapshotRef> run(pid_t pid, std::uint64_t changeCount, std::function<TreeSnapshotRef()> read);

  private:
    using Key = std::pair<pid_t, std::uint64_t>;
    using Waiter = std::function<void(std::exception_ptr, TreeSnapshotRef)>;

    bool join(const Key& key, Waiter waiter);
    void readAndEnd(const Key& key, const std::function<TreeSnapshotRef()>& read);
    void end(const Key& key, const std::exception_ptr& failure, const TreeSnapshotRef& tree);

    std::mutex mutex_;
    /// The requests that wait for each tree, the one that has it read among them.
    std::map<Key, std::vector<Waiter>> underWay_;
};

}  // namespace varkel
