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

std::uint64_t TreeBuilds::lastBegun() {
    const std::scoped_lock lock(mutex_);
    return begun_;
}

Task<TreeBuilds::Ended> TreeBuilds::waitForLast(pid_t key) {
    const auto waiting = std::make_shared<Waiting>(co_await asio::this_coro::executor);
    {
        const std::scoped_lock lock(mutex_);
        const auto found = underWay_.find(key);
        if (found == underWay_.end()) co_return Ended{};
        found->second.rbegin()->second.push_back(waiting);
    }
    boost::system::error_code cancelled;
    co_await waiting->timer.async_wait(asio::redirect_error(asio::use_awaitable, cancelled));
    co_return waiting->ended;
}

TreeBuilds::Build TreeBuilds::begin(pid_t key) {
    const std::scoped_lock lock(mutex_);
    underWay_[key].try_emplace(++begun_);
    return {*this, key, begun_};
}

void TreeBuilds::end(pid_t key, std::uint64_t number, const TreeSnapshotRef& tree) {
    std::vector<std::shared_ptr<Waiting>> all;
    {
        const std::scoped_lock lock(mutex_);
        const auto found = underWay_.find(key);
        all = std::move(found->second.extract(number).mapped());
        if (found->second.empty()) underWay_.erase(found);
    }
    // On the waiter's own thread, where it has begun to wait by then: timers are not to be touched by two
    // threads.
    for (const auto& waiting : all) {
        asio::post(waiting->timer.get_executor(), [waiting, ended = Ended{number, tree}] {
            waiting->ended = ended;
            waiting->timer.cancel();
        });
    }
}

}  // namespace varkel
