#include "http/Strangers.h"

#include <utility>

namespace varkel {

Strangers::Place::Place(Strangers& all, std::function<void()> close) : all_(all) {
    while (all.closers_.size() >= all.maxCount_ && !all.closers_.empty()) {
        Strangers::close(*all.closers_.front().place);
    }
    entry_ = all.closers_.insert(all.closers_.end(), {this, std::move(close)});
}

bool Strangers::Place::hold(std::size_t bytes) {
    if (!taken_) return true;
    share(bytes > freeBytes ? bytes - freeBytes : 0);
    while (all_.shared_ > sharedBytes) Strangers::close(*all_.holders_.front());
    return taken_;
}

/// Notes how much of what is shared the connection holds.
void Strangers::Place::share(std::size_t bytes) {
    if (shared_ == 0 && bytes > 0) holder_ = all_.holders_.insert(all_.holders_.end(), this);
    if (shared_ > 0 && bytes == 0) all_.holders_.erase(holder_);
    all_.shared_ += bytes;
    all_.shared_ -= std::exchange(shared_, bytes);
}

void Strangers::Place::leave() {
    if (!taken_) return;
    taken_ = false;
    share(0);
    all_.closers_.erase(entry_);
}

void Strangers::close(Place& place) {
    const auto closeConnection = std::move(place.entry_->close);
    place.leave();
    closeConnection();
}

}  // namespace varkel
