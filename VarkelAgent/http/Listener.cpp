#include "http/Listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <chrono>
#include <new>
#include <utility>

#include "base/BlockingPool.h"

namespace varkel {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

// Waiting connections stay in the queue meanwhile and are served when descriptors are free again.
constexpr std::chrono::milliseconds shortageDelay(50);

std::error_code lastError() {
    return {errno, std::generic_category()};
}

/// Opened here because the I/O library leaves descriptors open for child processes.
int openSocket() {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) throw std::system_error(lastError(), "cannot create the listener");
    return descriptor;
}

// Then the connections that are there get their turn, so that callers who only connect do not keep them from
// it.
constexpr int maxAcceptsInTurn = 64;

enum class Accepted { socket, none, shortage };

/// Errors of a connection that ended while it waited are passed over.
Accepted acceptOne(int listener, FileDescriptor& out) {
    while (true) {
        out.reset(::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (out) return Accepted::socket;
        switch (errno) {
            case EINTR:
            case ECONNABORTED:
            case EPROTO:
                continue;
            case EAGAIN:
                return Accepted::none;
            default:
                return Accepted::shortage;
        }
    }
}

/// A lack of memory costs this connection, not the listener.
void handOver(FileDescriptor socket, const std::function<void(FileDescriptor)>& adopt) {
    try {
        adopt(std::move(socket));
    } catch (const std::bad_alloc&) {
        return;
    }
}

}  // namespace

Listener::Listener(asio::io_context& context) : acceptor_(context) {
    FileDescriptor descriptor(openSocket());
    acceptor_.assign(tcp::v4(), descriptor.get());
    descriptor.release();
}

std::error_code Listener::listen(std::uint16_t port) {
    const int descriptor = acceptor_.native_handle();
    // A port whose last connections are still being wound up can be taken again at once.
    const int on = 1;
    if (::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0) return lastError();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return lastError();
    }
    if (::listen(descriptor, SOMAXCONN) != 0) return lastError();
    return {};
}

std::uint16_t Listener::port() const {
    boost::system::error_code error;
    const tcp::endpoint endpoint = acceptor_.local_endpoint(error);
    return error ? std::uint16_t{0} : endpoint.port();
}

Task<void> Listener::serve(std::function<void(FileDescriptor)> adopt) {
    for (int inTurn = 0; acceptor_.is_open();) {
        FileDescriptor socket;
        Accepted accepted = acceptOne(acceptor_.native_handle(), socket);
        if (accepted == Accepted::socket) {
            handOver(std::move(socket), adopt);
            if (++inTurn < maxAcceptsInTurn) continue;
            inTurn = 0;
            co_await asio::post(acceptor_.get_executor(), asio::use_awaitable);
        } else if (accepted == Accepted::shortage) {
            co_await sleepFor(shortageDelay);
        } else {
            boost::system::error_code error;
            co_await acceptor_.async_wait(tcp::acceptor::wait_read,
                                          asio::redirect_error(asio::use_awaitable, error));
        }
    }
}

void Listener::close() {
    boost::system::error_code ignored;
    acceptor_.close(ignored);
}

}  // namespace varkel
