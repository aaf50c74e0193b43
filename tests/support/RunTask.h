#pragma once

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <utility>

#include "http/Task.h"

namespace varkel::test {

/// Runs asynchronous work to its end on the calling thread and gives what it yields.
template <class T>
T runTask(Task<T> task) {
    boost::asio::io_context context;
    auto result = boost::asio::co_spawn(context, std::move(task), boost::asio::use_future);
    context.run();
    return result.get();
}

}  // namespace varkel::test
