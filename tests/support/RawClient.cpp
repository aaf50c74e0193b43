#include "support/RawClient.h"

#include <poll.h>

#include <stdexcept>

#include "support/Deadline.h"

namespace varkel::test {

using boost::asio::ip::tcp;

RawClient::RawClient(std::uint16_t port) {
    stream_.exceptions(std::ios::badbit | std::ios::failbit);
    stream_.expires_after(patience);
    stream_.connect(tcp::endpoint(boost::asio::ip::address_v4::loopback(), port));
}

void RawClient::send(std::string_view bytes) {
    stream_.expires_after(patience);
    stream_ << bytes << std::flush;
}

void RawClient::finishSending() {
    stream_.socket().shutdown(tcp::socket::shutdown_send);
}

/// Waits for the next byte; false when the server has closed.
bool RawClient::hasMore() {
    stream_.expires_after(patience);
    if (stream_.rdbuf()->sgetc() != std::char_traits<char>::eof()) return true;
    if (stream_.error() == boost::asio::error::timed_out) throw std::runtime_error("the server says nothing");
    return false;
}

std::string RawClient::takeLine() {
    std::string line;
    std::getline(stream_, line);
    if (!line.ends_with('\r')) throw std::runtime_error("a response line without an end: " + line);
    line.pop_back();
    return line;
}

std::optional<RawResponse> RawClient::receive() {
    if (!hasMore()) return std::nullopt;
    RawResponse response{takeLine(), {}, {}};
    for (std::string line = takeLine(); !line.empty(); line = takeLine()) {
        const std::size_t colon = line.find(": ");
        if (colon == std::string::npos) throw std::runtime_error("no header line: " + line);
        response.headers[line.substr(0, colon)] = line.substr(colon + 2);
    }
    // An interim answer has no body.
    const bool isInterim = response.status() < 200;
    response.body.resize(isInterim ? 0 : std::stoul(response.headers.at("Content-Length")));
    stream_.read(response.body.data(), static_cast<std::streamsize>(response.body.size()));
    return response;
}

std::string RawClient::receiveRest() {
    std::string rest;
    while (hasMore()) rest += static_cast<char>(stream_.rdbuf()->sbumpc());
    return rest;
}

bool RawClient::isQuiet() {
    pollfd wait{stream_.socket().native_handle(), POLLIN, 0};
    return stream_.rdbuf()->in_avail() == 0 && ::poll(&wait, 1, 50) == 0;
}

RawResponse RawClient::request(std::string_view bytes) {
    send(bytes);
    auto response = receive();
    if (!response) throw std::runtime_error("the server closed without an answer");
    return std::move(*response);
}

}  // namespace varkel::test
