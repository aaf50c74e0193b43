#include "http/UnauthenticatedConnections.h"

#include <utility>

namespace varkel {

UnauthenticatedConnections::Slot::Slot(UnauthenticatedConnections& all, std::function<void()> close)
    : all_(all) {
    while (all.closers_.size() >= all.maxCount_ && !all.closers_.empty()) {
        UnauthenticatedConnections::close(*all.closers_.front().slot);
    }
    entry_ = all.closers_.insert(all.closers_.end(), {this, std::move(close)});
}

bool UnauthenticatedConnections::Slot::hold(std::size_t bytes) {
    if (!taken_) return true;
    share(bytes > freeBytes ? bytes - freeBytes : 0);
    while (all_.shared_ > sharedBytes) UnauthenticatedConnections::close(*all_.holders_.front());
    return taken_;
}

/// Notes how much of what is shared the connection holds.
void UnauthenticatedConnections::Slot::share(std::size_t bytes) {
    if (shared_ == 0 && bytes > 0) holder_ = all_.holders_.insert(all_.holders_.end(), this);
    if (shared_ > 0 && bytes == 0) all_.holders_.erase(holder_);
    all_.shared_ += bytes;
    all_.shared_ -= std::exchange(shared_, bytes);
}

void UnauthenticatedConnections::Slot::leave() {
    if (!taken_) return;
    taken_ = false;
    share(0);
    all_.closers_.erase(entry_);
}

void UnauthenticatedConnections::close(Slot& slot) {
    const auto closeConnection = std::move(slot.entry_->close);
    slot.leave();
    closeConnection();
}

}  // namespace varkel
