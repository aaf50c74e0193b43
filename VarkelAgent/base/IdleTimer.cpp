#include "base/IdleTimer.h"

#include <boost/asio/post.hpp>

namespace varkel {

void IdleTimer::touch() {
    touched_ = true;
    if (!running_.exchange(true)) boost::asio::post(timer_.get_executor(), [this] { wait(); });
}

void IdleTimer::wait() {
    touched_ = false;
    timer_.expires_after(idleTime_);
    timer_.async_wait([this](const boost::system::error_code& error) {
        if (error) return;
        if (touched_) {
            wait();
            return;
        }
        running_ = false;
        // A touch() that came just before has seen the timer running.
        if (touched_) touch();
        task_();
    });
}

}  // namespace varkel
