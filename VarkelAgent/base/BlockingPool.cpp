#include "base/BlockingPool.h"

#include <boost/asio/associated_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <system_error>

#include "base/StartThread.h"

namespace varkel {

BlockingPool& BlockingPool::shared() {
    static auto& pool = *new BlockingPool();
    return pool;
}

BlockingPool& BlockingPool::forChildren() {
    static auto& pool = *new BlockingPool(maxChildrenThreads);
    return pool;
}

BlockingPool::~BlockingPool() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
}

void BlockingPool::submit(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    // A thread that was woken and has not taken its work yet still counts as idle, hence the comparison.
    if (queue_.size() >= idle_ && threads_.size() < maxThreads_) {
        // A thread that runs must find its place.
        threads_.reserve(threads_.size() + 1);
        std::thread thread;
        if (startThread(thread, [this] { serve(); })) {
            threads_.push_back(std::move(thread));
        } else if (threads_.empty()) {
            throw std::system_error(make_error_code(std::errc::resource_unavailable_try_again));
        }
    }
    queue_.push_back(std::move(work));
    wake_.notify_one();
}

std::size_t BlockingPool::threadCount() const {
    const std::lock_guard lock(mutex_);
    return threads_.size();
}

void BlockingPool::serve() {
    std::unique_lock lock(mutex_);
    while (true) {
        ++idle_;
        wake_.wait(lock, [this] { return ending_ || !queue_.empty(); });
        --idle_;
        if (queue_.empty()) return;
        std::function<void()> work = std::move(queue_.front());
        queue_.pop_front();
        lock.unlock();
        work();
        // What it captured goes before the lock is taken again.
        work = nullptr;
        lock.lock();
    }
}

namespace blocking {

Task<void> runOnPool(BlockingPool& pool, std::function<void()> work) {
    std::exception_ptr refused;
    auto start = [&](auto handler) {
        const auto executor = boost::asio::get_associated_executor(handler);
        // Shared because a std::function must be copyable.
        auto resume = std::make_shared<decltype(handler)>(std::move(handler));
        // The guard keeps the executor running while the answer is under way.
        auto job = [guard = boost::asio::make_work_guard(executor), resume, run = std::move(work)]() mutable {
            run();
            run = nullptr;
            boost::asio::post(guard.get_executor(), [resume = std::move(resume)] { std::move (*resume)(); });
        };
        // Throwing from here would take the coroutine down with it.
        try {
            pool.submit(std::move(job));
        } catch (const std::system_error&) {
            refused = std::current_exception();
            boost::asio::post(executor, [resume] { std::move (*resume)(); });
        }
    };
    co_await boost::asio::async_initiate<const boost::asio::use_awaitable_t<>, void()>(
        start, boost::asio::use_awaitable);
    if (refused) std::rethrow_exception(refused);
}

}  // namespace blocking

Task<void> sleepFor(std::chrono::nanoseconds duration) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    timer.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(duration));
    co_await timer.async_wait(boost::asio::use_awaitable);
}

}  // namespace varkel
