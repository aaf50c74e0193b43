#include "http/Strangers.h"

#include <utility>

namespace varkel {

Strangers::Place::Place(Strangers& all, std::function<void()> close) : all_(all) {
    while (all.closers_.size() >= all.maxCount_ && !all.closers_.empty()) all.closeFirst();
    entry_ = all.closers_.insert(all.closers_.end(), {this, std::move(close)});
}

bool Strangers::Place::hold(std::size_t bytes) {
    if (!taken_) return true;
    all_.shared_ -= shared_;
    shared_ = bytes > freeBytes ? bytes - freeBytes : 0;
    all_.shared_ += shared_;
    return shared_ == 0 || all_.shared_ <= sharedBytes;
}

void Strangers::Place::leave() {
    if (!taken_) return;
    taken_ = false;
    all_.shared_ -= shared_;
    all_.closers_.erase(entry_);
}

void Strangers::closeFirst() {
    const auto close = std::move(closers_.front().close);
    closers_.front().place->leave();
    close();
}

}  // namespace varkel
