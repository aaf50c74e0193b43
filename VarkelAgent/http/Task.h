#pragma once

#include <boost/asio/awaitable.hpp>
#include <functional>

#include "http/HTTPMessage.h"

namespace varkel {

/// Asynchronous work that runs on the I/O threads and yields a T or an exception.
template <class T>
using Task = boost::asio::awaitable<T>;

/// What a route does with a request. Entered on an I/O thread, for several connections at once; whatever
/// blocks goes through runBlocking() (BlockingPool.h).
using RouteHandler = std::function<Task<HTTPResponse>(HTTPRequest)>;

}  // namespace varkel
