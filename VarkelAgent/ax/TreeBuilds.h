#pragma once

#include <sys/types.h>

#include <boost/asio/steady_timer.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "ax/TreeSnapshot.h"
#include "http/Task.h"

namespace varkel {

/// The tree builds under way, by the cache key that each will be kept under. A request that finds nothing in
/// the cache while the same tree is being read waits for that to end and looks again: when many ask at once
/// for a tree that has just expired, one of them reads it. When that one is out of date already, since
/// something has been done meanwhile, one of those who have waited reads it anew for all of them. Any thread.
class TreeBuilds {
  public:
    static TreeBuilds& shared();

    /// Stands for one build; ends it when dropped.
    class Build {
      public:
        Build(TreeBuilds& owner, pid_t key, std::uint64_t number)
            : owner_(&owner), key_(key), number_(number) {}
        Build(Build&& other) noexcept
            : owner_(std::exchange(other.owner_, nullptr)),
              key_(other.key_),
              number_(other.number_),
              tree_(std::move(other.tree_)) {}
        Build& operator=(Build&&) = delete;
        ~Build() {
            if (owner_ != nullptr) owner_->end(key_, number_, tree_);
        }

        /// Gives the tree to those who wait for it.
        void share(TreeSnapshotRef tree) { tree_ = std::move(tree); }

      private:
        TreeBuilds* owner_;
        pid_t key_;
        std::uint64_t number_;
        TreeSnapshotRef tree_;
    };

    /// What a build that somebody waited for came to.
    struct Ended {
        /// The builds are counted in the order in which they begin; 0 when none was under way.
        std::uint64_t number = 0;
        /// Null when it was not shared.
        TreeSnapshotRef tree;
    };

    /// The number of the last build that has begun: what is read by a later one is read after this call.
    std::uint64_t lastBegun();

    /// Waits until the build under this key that began last has ended; returns at once without one.
    Task<Ended> waitForLast(pid_t key);

    /// Begins a build. Others under the same key may be under way.
    Build begin(pid_t key);

  private:
    struct Waiting {
        explicit Waiting(const boost::asio::any_io_executor& executor)
            : timer(executor, boost::asio::steady_timer::time_point::max()) {}

        boost::asio::steady_timer timer;
        Ended ended;
    };
    /// Who waits for each build, by its number.
    using UnderWay = std::map<std::uint64_t, std::vector<std::shared_ptr<Waiting>>>;

    void end(pid_t key, std::uint64_t number, const TreeSnapshotRef& tree);

    std::mutex mutex_;
    std::uint64_t begun_ = 0;
    std::map<pid_t, UnderWay> underWay_;
};

}  // namespace varkel
