#pragma once

#include <sys/types.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace varkel {

/// Which application each batch is pinned to. Any thread.
class BatchManager {
  public:
    static BatchManager& shared();

    /// Pins a batch to a process, replacing an earlier one under the same id.
    void begin(const std::string& batchId, pid_t pid);

    std::optional<pid_t> lookup(std::string_view batchId) const;

    /// Forgets a batch; an unknown id changes nothing.
    void end(std::string_view batchId);

  private:
    mutable std::mutex mutex_;
    std::map<std::string, pid_t, std::less<>> pids_;
};

}  // namespace varkel
