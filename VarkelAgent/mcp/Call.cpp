#include "mcp/Call.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <utility>

namespace varkel::mcp {

namespace asio = boost::asio;

void Call::cancel() {
    cancelled_ = true;
    if (interrupt_) interrupt_();
}

void Call::throwIfCancelled() const {
    if (cancelled_) throw Cancelled();
}

Task<void> Call::pause(std::chrono::steady_clock::duration duration) {
    throwIfCancelled();
    asio::steady_timer timer(executor_, duration);
    const Interruptible interruptible(*this, [&timer] { timer.cancel(); });
    boost::system::error_code error;
    co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, error));
    throwIfCancelled();
}

Call::Interruptible::Interruptible(Call& call, std::function<void()> interrupt) : call_(call) {
    call_.interrupt_ = std::move(interrupt);
}

Call::Interruptible::~Interruptible() {
    call_.interrupt_ = nullptr;
}

}  // namespace varkel::mcp
