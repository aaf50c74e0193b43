#include "base/Event.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace varkel {

void Event::set() {
    isSet_ = true;
    timer_.cancel();
}

Task<void> Event::wait() {
    while (!isSet_) {
        boost::system::error_code interrupted;
        co_await timer_.async_wait(boost::asio::redirect_error(boost::asio::use_awaitable, interrupted));
    }
}

}  // namespace varkel
