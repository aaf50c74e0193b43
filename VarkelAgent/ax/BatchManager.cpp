#include "ax/BatchManager.h"

namespace varkel {

BatchManager& BatchManager::shared() {
    static BatchManager manager;
    return manager;
}

void BatchManager::begin(const std::string& batchId, pid_t pid) {
    const std::scoped_lock lock(mutex_);
    pids_.insert_or_assign(batchId, pid);
}

std::optional<pid_t> BatchManager::lookup(std::string_view batchId) const {
    const std::scoped_lock lock(mutex_);
    const auto found = pids_.find(batchId);
    return found == pids_.end() ? std::nullopt : std::optional(found->second);
}

void BatchManager::end(std::string_view batchId) {
    const std::scoped_lock lock(mutex_);
    const auto found = pids_.find(batchId);
    if (found != pids_.end()) pids_.erase(found);
}

}  // namespace varkel
