#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <chrono>
#include <functional>
#include <stdexcept>

#include "base/Task.h"

namespace varkel::mcp {

/// Unwinds a call that the client has cancelled.
struct Cancelled {};

/// Why a tool cannot do what was asked, in words that help to go on.
class ToolError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A tool call under way, as its tool sees it. Used on the executor's thread only.
class Call {
  public:
    explicit Call(boost::asio::any_io_executor executor) : executor_(std::move(executor)) {}
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    const boost::asio::any_io_executor& executor() const { return executor_; }

    /// Ends whatever the call waits for; the call is then unwound by Cancelled.
    void cancel();
    bool isCancelled() const { return cancelled_; }
    /// Throws Cancelled when it was.
    void throwIfCancelled() const;

    /// Waits. Throws Cancelled.
    Task<void> pause(std::chrono::steady_clock::duration duration);

    /// As long as it lives, a cancellation calls `interrupt`. One at a time.
    class Interruptible {
      public:
        Interruptible(Call& call, std::function<void()> interrupt);
        Interruptible(const Interruptible&) = delete;
        Interruptible& operator=(const Interruptible&) = delete;
        ~Interruptible();

      private:
        Call& call_;
    };

    /// What the call is waiting for, for its progress messages.
    const char* activity = "working";

  private:
    boost::asio::any_io_executor executor_;
    std::function<void()> interrupt_;
    bool cancelled_ = false;
};

}  // namespace varkel::mcp
