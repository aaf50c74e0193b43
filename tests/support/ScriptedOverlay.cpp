#include "support/ScriptedOverlay.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <utility>

#include "base/BlockingPool.h"
#include "support/Deadline.h"

namespace varkel::test {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

constexpr std::chrono::milliseconds lookAgain(5);

std::size_t contentLength(const std::string& head) {
    const std::string name = "\r\nContent-Length: ";
    const auto at = head.find(name);
    return at == std::string::npos ? 0 : std::stoul(head.substr(at + name.size()));
}

}  // namespace

OverlayReply statusReply(int status, std::function<bool()> when) {
    return {"HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: 0\r\n\r\n",
            OverlayReply::Then::close, std::move(when)};
}

ScriptedOverlay::ScriptedOverlay(std::function<OverlayReply(int number)> poll, OverlayReply event)
    : poll_(std::move(poll)),
      event_(std::move(event)),
      acceptor_(context_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
      port_(acceptor_.local_endpoint().port()) {
    asio::co_spawn(context_, accept(), asio::detached);
    thread_ = std::thread([this] { context_.run(); });
}

ScriptedOverlay::~ScriptedOverlay() {
    stop();
}

void ScriptedOverlay::stop() {
    if (!thread_.joinable()) return;
    context_.stop();
    thread_.join();
    acceptor_.close();
}

std::vector<ScriptedOverlay::Received> ScriptedOverlay::events() {
    const std::lock_guard lock(mutex_);
    return events_;
}

std::vector<ScriptedOverlay::Received> ScriptedOverlay::polls() {
    const std::lock_guard lock(mutex_);
    return polls_;
}

Task<void> ScriptedOverlay::accept() {
    while (true) {
        tcp::socket socket = co_await acceptor_.async_accept(asio::use_awaitable);
        asio::co_spawn(context_, serve(std::move(socket)), asio::detached);
    }
}

Task<void> ScriptedOverlay::serve(tcp::socket socket) {
    std::string bytes;
    const std::size_t headLength =
        co_await asio::async_read_until(socket, asio::dynamic_buffer(bytes), "\r\n\r\n", asio::use_awaitable);
    Received received{bytes.substr(0, headLength), bytes.substr(headLength)};
    const std::size_t missing = contentLength(received.head) - received.body.size();
    co_await asio::async_read(socket, asio::dynamic_buffer(received.body), asio::transfer_exactly(missing),
                              asio::use_awaitable);
    OverlayReply reply = event_;
    {
        std::unique_lock lock(mutex_);
        if (received.head.starts_with("GET ")) {
            polls_.push_back(std::move(received));
            const int number = static_cast<int>(polls_.size());
            lock.unlock();
            reply = poll_(number);
        } else {
            events_.push_back(std::move(received));
        }
    }
    while (reply.when && !reply.when()) co_await sleepFor(lookAgain);
    co_await asio::async_write(socket, asio::buffer(reply.bytes), asio::use_awaitable);
    while (reply.then == OverlayReply::Then::trickle) {
        co_await asio::async_write(socket, asio::buffer("x", 1), asio::use_awaitable);
        co_await sleepFor(lookAgain);
    }
    if (reply.then == OverlayReply::Then::hang) co_await sleepFor(patience);
}

}  // namespace varkel::test
