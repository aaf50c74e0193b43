#pragma once

#include <boost/asio/awaitable.hpp>

namespace varkel {

/// Asynchronous work that runs on the I/O threads and yields a T or an exception.
template <class T>
using Task = boost::asio::awaitable<T>;

}  // namespace varkel
