#include "base/MainThread.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <future>
#include <utility>

namespace varkel {

namespace {

/// Never destroyed: other threads may still post while the process exits.
boost::asio::io_context& context() {
    static auto& shared = *new boost::asio::io_context(1);
    return shared;
}

}  // namespace

void MainThread::run() {
    context().restart();
    const auto work = boost::asio::make_work_guard(context());
    context().run();
}

void MainThread::stop() {
    post([] { context().stop(); });
}

void MainThread::post(std::function<void()> work) {
    boost::asio::post(context(), std::move(work));
}

void MainThread::sync(const std::function<void()>& work) {
    if (isCurrent()) {
        work();
        return;
    }
    std::packaged_task<void()> task(work);
    auto done = task.get_future();
    boost::asio::post(context(), std::move(task));
    done.get();
}

bool MainThread::isCurrent() {
    return context().get_executor().running_in_this_thread();
}

boost::asio::any_io_executor MainThread::executor() {
    return context().get_executor();
}

}  // namespace varkel
