#include "routes/URLSession.h"

#include <algorithm>
#include <array>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <exception>
#include <stdexcept>

namespace varkel {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

/// A head that does not fit in here is taken for no HTTP.
constexpr std::size_t receiveSpace = 16'384;
constexpr std::uint16_t defaultHTTPPort = 80;

/// A line break would let a value add headers of its own.
bool fitsInAHeader(const std::string& value) {
    return std::ranges::none_of(value, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

http::request<http::string_body> messageOf(URLRequest request) {
    http::request<http::string_body> message;
    message.version(11);
    message.method_string(request.method);
    const std::string target(request.url.encoded_target());
    message.target(target.empty() ? "/" : target);
    message.set(http::field::host, std::string(request.url.encoded_host_and_port()));
    message.set(http::field::connection, "close");
    for (const auto& [name, value] : request.headers) {
        if (!fitsInAHeader(value)) throw std::invalid_argument("no header can hold this value");
        message.set(name, value);
    }
    if (request.body) message.body() = std::move(*request.body);
    message.prepare_payload();
    return message;
}

asio::ip::tcp::endpoint endpointOf(const boost::urls::url& url) {
    const auto address = asio::ip::make_address_v4(std::string(url.encoded_host()));
    if (!url.has_port()) return {address, defaultHTTPPort};
    // A number beyond the ports there are reads as 0, where nothing listens.
    return {address, url.port_number()};
}

Task<void> throwAwayBody(beast::tcp_stream& stream, beast::flat_buffer& buffer,
                         http::response_parser<http::buffer_body>& parser) {
    std::array<char, 4'096> space{};
    while (!parser.is_done()) {
        parser.get().body().data = space.data();
        parser.get().body().size = space.size();
        boost::system::error_code error;
        co_await http::async_read(stream, buffer, parser, asio::redirect_error(asio::use_awaitable, error));
        if (error && error != http::error::need_buffer) throw boost::system::system_error(error);
    }
}

Task<unsigned> readStatus(beast::tcp_stream& stream) {
    beast::flat_buffer buffer(receiveSpace);
    while (true) {
        http::response_parser<http::buffer_body> parser;
        parser.body_limit(boost::none);
        co_await http::async_read_header(stream, buffer, parser, asio::use_awaitable);
        const unsigned status = parser.get().result_int();
        // Interim replies announce another one.
        if (status < 200) continue;
        co_await throwAwayBody(stream, buffer, parser);
        co_return status;
    }
}

Task<unsigned> exchange(URLRequest request, std::chrono::steady_clock::duration limit) {
    const auto endpoint = endpointOf(request.url);
    const auto message = messageOf(std::move(request));
    beast::tcp_stream stream(co_await asio::this_coro::executor);
    // Holds for all that follows: a reply that trickles in does not move it.
    stream.expires_after(limit);
    co_await stream.async_connect(endpoint, asio::use_awaitable);
    co_await http::async_write(stream, message, asio::use_awaitable);
    co_return co_await readStatus(stream);
}

}  // namespace

Task<std::optional<unsigned>> URLSession::status(URLRequest request) const {
    try {
        co_return co_await exchange(std::move(request), timeoutInterval);
    } catch (const std::exception&) {
        co_return std::nullopt;
    }
}

}  // namespace varkel
