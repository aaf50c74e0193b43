#include "support/RawClient.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

#include "support/Deadline.h"

namespace varkel::test {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Calls again what a signal has interrupted: waits that have a limit end with that.
template <class Call>
ssize_t uninterrupted(const Call& call) {
    ssize_t result = 0;
    do result = call();
    while (result < 0 && errno == EINTR);
    return result;
}

std::string takeLine(std::string& bytes) {
    const std::size_t end = bytes.find("\r\n");
    if (end == std::string::npos) throw std::runtime_error("a response line without an end");
    std::string line = bytes.substr(0, end);
    bytes.erase(0, end + 2);
    return line;
}

}  // namespace

RawClient::RawClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (!socket_) fail("socket");
    const timeval limit{patience.count(), 0};
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) fail("connect");
}

void RawClient::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count =
            uninterrupted([&] { return ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL); });
        if (count < 0) fail("send");
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void RawClient::finishSending() {
    ::shutdown(socket_.get(), SHUT_WR);
}

/// Receives more; false when the server has closed.
bool RawClient::fill() {
    std::array<char, 65'536> piece;
    const ssize_t count = uninterrupted([&] { return ::recv(socket_.get(), piece.data(), piece.size(), 0); });
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
    // An interim answer has no body.
    const bool isInterim = response.status() < 200;
    const std::size_t length = isInterim ? 0 : std::stoul(response.headers.at("Content-Length"));
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
