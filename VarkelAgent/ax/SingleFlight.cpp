#include "ax/SingleFlight.h"

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <memory>
#include <system_error>

#include "base/BlockingPool.h"

namespace varkel {

namespace asio = boost::asio;

SingleFlight& SingleFlight::shared() {
    static SingleFlight flights;
    return flights;
}

Task<TreeSnapshotRef> SingleFlight::run(pid_t pid, std::uint64_t changeCount,
                                        std::function<TreeSnapshotRef()> read) {
    const Key key{pid, changeCount};
    auto start = [&](auto handler) {
        const auto executor = asio::get_associated_executor(handler);
        // Shared because a std::function must be copyable.
        auto resume = std::make_shared<decltype(handler)>(std::move(handler));
        // The guard keeps the executor running while the tree is under way.
        auto waiter = [guard = asio::make_work_guard(executor), resume](std::exception_ptr failure,
                                                                        TreeSnapshotRef tree) {
            asio::post(guard.get_executor(), [resume, failure = std::move(failure), tree = std::move(tree)] {
                std::move (*resume)(failure, tree);
            });
        };
        if (!join(key, std::move(waiter))) return;
        try {
            BlockingPool::shared().submit([this, key, read = std::move(read)] { readAndEnd(key, read); });
        } catch (const std::system_error&) {
            end(key, std::current_exception(), nullptr);
        }
    };
    co_return co_await asio::async_initiate<const asio::use_awaitable_t<>,
                                            void(std::exception_ptr, TreeSnapshotRef)>(start,
                                                                                       asio::use_awaitable);
}

/// Whether this is the first one, which has to have the tree read.
bool SingleFlight::join(const Key& key, Waiter waiter) {
    const std::scoped_lock lock(mutex_);
    const auto [waiters, isFirst] = underWay_.try_emplace(key);
    waiters->second.push_back(std::move(waiter));
    return isFirst;
}

void SingleFlight::readAndEnd(const Key& key, const std::function<TreeSnapshotRef()>& read) {
    std::exception_ptr failure;
    TreeSnapshotRef tree;
    try {
        tree = read();
    } catch (...) {
        failure = std::current_exception();
    }
    end(key, failure, tree);
}

void SingleFlight::end(const Key& key, const std::exception_ptr& failure, const TreeSnapshotRef& tree) {
    std::vector<Waiter> waiters;
    {
        const std::scoped_lock lock(mutex_);
        waiters = std::move(underWay_.extract(key).mapped());
    }
    for (const Waiter& resume : waiters) resume(failure, tree);
}

}  // namespace varkel
