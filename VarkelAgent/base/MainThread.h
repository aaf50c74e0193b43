#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <functional>

namespace varkel {

/// The executor of the process's main thread, for what a desktop lets only that thread do.
class MainThread {
  public:
    /// Serves posted and synchronous work until stop(). Called on the main thread.
    static void run();

    /// Makes run() return once what was posted before is done. Any thread.
    static void stop();

    /// Runs `work` on the main thread soon. Any thread.
    static void post(std::function<void()> work);

    /// Runs `work` on the main thread and waits until it is done; at once when called there. An exception of
    /// `work` reaches the caller. The main thread must be in run() and must never wait for a caller of this
    /// function.
    static void sync(const std::function<void()>& work);

    /// Whether the caller is the main thread, inside run().
    static bool isCurrent();

    /// For coroutines that live on the main thread.
    static boost::asio::any_io_executor executor();
};

}  // namespace varkel
