#pragma once

#include <atomic>
#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>

namespace varkel {

/// Calls a task each time that there was something to do and then has been nothing for a while. The timer
/// runs only in between: an idle process is not woken.
class IdleTimer {
  public:
    /// `task` is called on `executor`, which one thread serves, between `idleTime` and twice as long after
    /// the last touch(). Until then there is work on the executor. The timer outlives what touches it and the
    /// executor's run.
    IdleTimer(const boost::asio::any_io_executor& executor, std::chrono::milliseconds idleTime,
              std::function<void()> task)
        : timer_(executor), idleTime_(idleTime), task_(std::move(task)) {}
    IdleTimer(const IdleTimer&) = delete;
    IdleTimer& operator=(const IdleTimer&) = delete;

    /// There was something to do. Any thread; costs next to nothing.
    void touch();

  private:
    void wait();

    boost::asio::steady_timer timer_;
    const std::chrono::milliseconds idleTime_;
    const std::function<void()> task_;
    std::atomic<bool> touched_ = false;
    std::atomic<bool> running_ = false;
};

}  // namespace varkel
