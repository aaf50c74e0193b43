#include "support/RawClient.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <system_error>

#include "support/Deadline.h"

namespace varkel::test {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string takeLine(std::string& bytes) {
    const std::size_t end = bytes.find("\r\n");
    if (end == std::string::npos) throw std::runtime_error("a response line without an end");
    std::string line = bytes.substr(0, end);
    bytes.erase(0, end + 2);
    return line;
}

}  // namespace

RawClient::RawClient(std::uint16_t port)
    : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (!socket_) fail("socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return;
    if (errno != EINPROGRESS) fail("connect");
    await(POLLOUT);
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) throw std::system_error(error, std::generic_category(), "connect");
}

void RawClient::await(short events) {
    pollfd wait{socket_.get(), events, 0};
    const auto limit = std::chrono::milliseconds(patience);
    if (::poll(&wait, 1, static_cast<int>(limit.count())) == 0) throw std::runtime_error("no answer in time");
}

void RawClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        await(POLLOUT);
        bytes.remove_prefix(sendSome(bytes));
    }
}

std::size_t RawClient::sendSome(std::string_view bytes) {
    const ssize_t count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EAGAIN) fail("send");
    return 0;
}

void RawClient::finishSending() {
    ::shutdown(socket_.get(), SHUT_WR);
}

/// Receives more; false when the server has closed.
bool RawClient::fill() {
    await(POLLIN);
    std::array<char, 65'536> piece;
    const ssize_t count = ::recv(socket_.get(), piece.data(), piece.size(), 0);
    if (count < 0 && errno == ECONNRESET) return false;
    if (count < 0) fail("recv");
    received_.append(piece.data(), static_cast<std::size_t>(count));
    return count > 0;
}

std::optional<RawResponse> RawClient::receive() {
    while (received_.find("\r\n\r\n") == std::string::npos) {
        if (fill()) continue;
        if (received_.empty()) return std::nullopt;
        throw std::runtime_error("the server closed within a head");
    }
    RawResponse response{takeLine(received_), {}, {}};
    for (std::string line = takeLine(received_); !line.empty(); line = takeLine(received_)) {
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos) throw std::runtime_error("no header line: " + line);
        response.headers[line.substr(0, colon)] = line.substr(colon + 2);
    }
    const std::size_t length = std::stoul(response.headers.at("Content-Length"));
    while (received_.size() < length) {
        if (!fill()) throw std::runtime_error("the server closed within a body");
    }
    response.body = received_.substr(0, length);
    received_.erase(0, length);
    return response;
}

std::string RawClient::receiveRest() {
    while (fill()) {
    }
    return std::move(received_);
}

bool RawClient::isQuiet() {
    pollfd wait{socket_.get(), POLLIN, 0};
    return received_.empty() && ::poll(&wait, 1, 50) == 0;
}

RawResponse RawClient::request(std::string_view bytes) {
    send(bytes);
    auto response = receive();
    if (!response) throw std::runtime_error("the server closed without an answer");
    return std::move(*response);
}

}  // namespace varkel::test
