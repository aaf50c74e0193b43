#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/Task.h"

namespace varkel {

/// Threads for work that blocks. None exist until there is work; once started they stay. Any thread.
class BlockingPool {
  public:
    static constexpr std::size_t defaultMaxThreads = 32;

    static constexpr std::size_t maxChildrenThreads = 512;

    /// The pool of the process. Never destroyed.
    static BlockingPool& shared();

    /// The pool for what waits for a child process that may take as long as it likes: however many of those
    /// never end, they hold no thread that other work needs. Never destroyed.
    static BlockingPool& forChildren();

    explicit BlockingPool(std::size_t maxThreads = defaultMaxThreads) : maxThreads_(maxThreads) {}
    BlockingPool(const BlockingPool&) = delete;
    BlockingPool& operator=(const BlockingPool&) = delete;

    /// Does the work that is queued and waits for it.
    ~BlockingPool();

    /// Runs `work` on a thread of the pool, in turn when all are busy. `work` must not throw. Throws
    /// std::system_error when no thread can be had at all.
    void submit(std::function<void()> work);

    std::size_t threadCount() const;

  private:
    void serve();

    const std::size_t maxThreads_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> queue_;
    std::vector<std::thread> threads_;
    std::size_t idle_ = 0;
    bool ending_ = false;
};

namespace blocking {

/// What one call leaves behind: a value of type T, or why there is none.
template <class T>
struct Outcome {
    std::optional<T> value;
    std::exception_ptr error;

    template <class Function>
    void fill(Function& function) {
        value.emplace(function());
    }
    T take() { return std::move(*value); }
};

template <>
struct Outcome<void> {
    std::exception_ptr error;

    template <class Function>
    void fill(Function& function) {
        function();
    }
    void take() {}
};

/// Runs `work` on the pool and resumes the caller on its own executor.
Task<void> runOnPool(BlockingPool& pool, std::function<void()> work);

}  // namespace blocking

/// Calls `function` on a thread of the pool and resumes the calling coroutine, on its own executor, with what
/// it returned or threw. `function` is neither copied nor moved.
///
/// It must be a variable of the coroutine: g++ 12 copies an unnamed closure in a co_await expression into the
/// coroutine's frame byte by byte and destroys it twice. So what any co_await takes has a name here.
///
///     auto read = [path] { return readFile(path); };
///     std::string text = co_await runBlocking(read);
template <class Function>
Task<std::invoke_result_t<Function&>> runBlocking(Function& function,
                                                  BlockingPool& pool = BlockingPool::shared()) {
    blocking::Outcome<std::invoke_result_t<Function&>> outcome;
    std::function<void()> work = [&] {
        try {
            outcome.fill(function);
        } catch (...) {
            outcome.error = std::current_exception();
        }
    };
    co_await blocking::runOnPool(pool, std::move(work));
    if (outcome.error) std::rethrow_exception(outcome.error);
    co_return outcome.take();
}

template <class Function>
void runBlocking(const Function&& function, BlockingPool& pool = BlockingPool::shared()) = delete;

/// Suspends the calling coroutine for at least `duration`; its thread goes on with other work.
Task<void> sleepFor(std::chrono::nanoseconds duration);

}  // namespace varkel
