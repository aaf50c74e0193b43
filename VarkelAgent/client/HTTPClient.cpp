#include "client/HTTPClient.h"

#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <string>
#include <utility>

#include "base/UnicodeText.h"

namespace varkel {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::uint64_t largestAnswer = 64 * 1024 * 1024;

http::request<http::string_body> messageOf(const HTTPRequest& request, std::uint16_t port) {
    http::request<http::string_body> message;
    message.version(11);
    message.method_string(request.method);
    message.target(request.path);
    message.set(http::field::host, "127.0.0.1:" + std::to_string(port));
    message.set(http::field::connection, "close");
    for (const auto& [name, value] : request.headers) message.set(name, value);
    message.body() = request.body;
    message.prepare_payload();
    return message;
}

Task<http::response<http::string_body>> readResponse(beast::tcp_stream& stream) {
    beast::flat_buffer buffer;
    while (true) {
        http::response_parser<http::string_body> parser;
        parser.body_limit(largestAnswer);
        co_await http::async_read(stream, buffer, parser, asio::use_awaitable);
        // Interim replies announce another one.
        if (parser.get().result_int() >= 200) co_return parser.release();
    }
}

HTTPResponse responseOf(http::response<http::string_body> message) {
    HTTPResponse response;
    response.status = static_cast<int>(message.result_int());
    for (const auto& field : message) {
        response.setHeader(lowerCased(std::string_view(field.name_string())),
                           std::string_view(field.value()));
    }
    response.body = std::make_shared<const std::string>(std::move(message.body()));
    return response;
}

}  // namespace

struct HTTPClient::Stream {
    beast::tcp_stream tcp;
};

HTTPClient::HTTPClient(asio::any_io_executor executor, std::uint16_t port)
    : stream_(std::make_unique<Stream>(Stream{beast::tcp_stream(std::move(executor))})), port_(port) {}

HTTPClient::~HTTPClient() = default;

Task<HTTPResponse> HTTPClient::send(const HTTPRequest& request,
                                    std::optional<std::chrono::steady_clock::duration> limit) {
    const auto message = messageOf(request, port_);
    beast::tcp_stream& stream = stream_->tcp;
    if (limit) stream.expires_after(*limit);
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port_);
    co_await stream.async_connect(endpoint, asio::use_awaitable);
    co_await http::async_write(stream, message, asio::use_awaitable);
    co_return responseOf(co_await readResponse(stream));
}

void HTTPClient::close() {
    stream_->tcp.close();
}

ExchangeFailure classify(const boost::system::error_code& error) {
    if (error == asio::error::connection_refused) return ExchangeFailure::refused;
    if (error == beast::error::timeout) return ExchangeFailure::timedOut;
    if (error == http::error::body_limit) return ExchangeFailure::tooLong;
    return ExchangeFailure::other;
}

}  // namespace varkel
