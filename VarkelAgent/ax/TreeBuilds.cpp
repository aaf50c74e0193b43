#include "ax/TreeBuilds.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace varkel {

namespace asio = boost::asio;

TreeBuilds& TreeBuilds::shared() {
    static TreeBuilds builds;
    return builds;
}

Task<void> TreeBuilds::waitForCurrent(pid_t key) {
    const auto timer = std::make_shared<Timer>(co_await asio::this_coro::executor, Timer::time_point::max());
    {
        const std::scoped_lock lock(mutex_);
        const auto found = underWay_.find(key);
        if (found == underWay_.end()) co_return;
        found->second.waiting.push_back(timer);
    }
    boost::system::error_code cancelled;
    co_await timer->async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
}

TreeBuilds::Build TreeBuilds::begin(pid_t key) {
    const std::scoped_lock lock(mutex_);
    ++underWay_[key].builds;
    return {*this, key};
}

void TreeBuilds::end(pid_t key) {
    std::vector<std::shared_ptr<Timer>> waiting;
    {
        const std::scoped_lock lock(mutex_);
        const auto found = underWay_.find(key);
        waiting.swap(found->second.waiting);
        if (--found->second.builds == 0) underWay_.erase(found);
    }
    // On the waiter's own thread, where it has begun to wait by then: timers are not to be touched by two
    // threads.
    for (const auto& timer : waiting) {
        asio::post(timer->get_executor(), [timer] { timer->cancel(); });
    }
}

}  // namespace varkel
