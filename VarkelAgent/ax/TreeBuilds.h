#pragma once

#include <sys/types.h>

#include <boost/asio/steady_timer.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "http/Task.h"

namespace varkel {

/// The tree builds under way, by the cache key that each will be kept under. A request that finds nothing in
/// the cache while the same tree is being read waits for that to end and looks again: when many ask at once
/// for a tree that has just expired, one of them reads it. Any thread.
class TreeBuilds {
  public:
    static TreeBuilds& shared();

    /// Stands for one build; ends it when dropped.
    class Build {
      public:
        Build(TreeBuilds& owner, pid_t key) : owner_(&owner), key_(key) {}
        Build(Build&& other) noexcept : owner_(std::exchange(other.owner_, nullptr)), key_(other.key_) {}
        Build& operator=(Build&&) = delete;
        ~Build() {
            if (owner_ != nullptr) owner_->end(key_);
        }

      private:
        TreeBuilds* owner_;
        pid_t key_;
    };

    /// Waits until the build under this key that is now under way has ended; returns at once without one.
    /// Others may have begun by then: nobody waits twice.
    Task<void> waitForCurrent(pid_t key);

    /// Begins a build. Others under the same key may be under way.
    Build begin(pid_t key);

  private:
    using Timer = boost::asio::steady_timer;
    struct UnderWay {
        int builds = 0;
        std::vector<std::shared_ptr<Timer>> waiting;
    };

    void end(pid_t key);

    std::mutex mutex_;
    std::map<pid_t, UnderWay> underWay_;
};

}  // namespace varkel
