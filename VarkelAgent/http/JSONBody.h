#pragma once

#include <cstddef>

#include "base/BlockingPool.h"
#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "json/JSONDecoder.h"

namespace varkel {

/// Reads a request's body as decodeJSON() does. A large one is read on the pool, where it keeps none of the
/// thread's other connections waiting. Throws DecodingError. The request must outlive the task.
template <class T>
Task<T> decodeBody(const HTTPRequest& request) {
    constexpr std::size_t largestAtOnce = 65'536;
    const auto decode = [&] { return decodeJSON<T>(request.body); };
    if (request.body.size() <= largestAtOnce) co_return decode();
    co_return co_await runBlocking(decode);
}

}  // namespace varkel
