#include "routes/URLSession.h"

#include <algorithm>
#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <exception>
#include <stdexcept>
#include <string_view>

namespace varkel {

using namespace std::string_view_literals;

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

/// How long what follows a status is taken off the service's hands: one that is cut off in the middle of its
/// reply has an error to report.
constexpr std::chrono::seconds courtesy(1);

/// A line break would let a value add headers of its own.
bool fitsInAHeader(const std::string& value) {
    return std::ranges::none_of(value, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

http::request<http::string_body> messageOf(URLRequest request) {
    http::request<http::string_body> message;
    message.version(11);
    message.method_string(request.method);
    message.target(request.target);
    message.set(http::field::host, "127.0.0.1:" + std::to_string(request.port));
    message.set(http::field::connection, "close");
    for (const auto& [name, value] : request.headers) {
        if (!fitsInAHeader(value)) throw std::invalid_argument("no header can hold this value");
        message.set(name, value);
    }
    if (request.body) message.body() = std::move(*request.body);
    message.prepare_payload();
    return message;
}

/// Finds the status in a reply that comes in pieces. Nothing else of it is needed or kept.
class StatusReader {
  public:
    /// The status, once it has come. Throws std::runtime_error when this is no HTTP.
    std::optional<unsigned> take(std::string_view received) {
        bytes_ += received;
        while (true) {
            if (inHead_ && !skipHead()) return std::nullopt;
            if (bytes_.size() < lengthToStatusEnd) return std::nullopt;
            const unsigned status = statusLine();
            // Interim replies announce another one.
            if (status >= 200) return status;
            inHead_ = true;
        }
    }

  private:
    /// The version, a space, the status, and what ends it.
    static constexpr std::size_t lengthToStatusEnd = 13;

    unsigned statusLine() const {
        const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
        const std::string_view line(bytes_);
        const std::string_view digits = line.substr(9, 3);
        constexpr std::string_view endings = " \r\n";
        const bool isStatus = line.starts_with("HTTP/1.") && isDigit(line[7]) && line[8] == ' ' &&
                              std::ranges::all_of(digits, isDigit) &&
                              endings.find(line[12]) != std::string_view::npos;
        if (!isStatus) throw std::runtime_error("this is no HTTP");
        return static_cast<unsigned>((digits[0] - '0') * 100 + (digits[1] - '0') * 10 + (digits[2] - '0'));
    }

    /// Drops the bytes up to the end of a head. Whether it has come.
    bool skipHead() {
        std::size_t end = std::string::npos;
        for (const std::string_view mark : {"\n\n"sv, "\n\r\n"sv}) {
            const std::size_t at = bytes_.find(mark);
            if (at != std::string::npos) end = std::min(end, at + mark.size());
        }
        inHead_ = end == std::string::npos;
        // The last two bytes may be the start of an end.
        bytes_.erase(0, inHead_ ? bytes_.size() - std::min<std::size_t>(bytes_.size(), 2) : end);
        return !inHead_;
    }

    std::string bytes_;
    bool inHead_ = false;
};

Task<unsigned> readStatus(beast::tcp_stream& stream) {
    StatusReader reader;
    std::array<char, 4'096> space{};
    while (true) {
        const std::size_t count = co_await stream.async_read_some(asio::buffer(space), asio::use_awaitable);
        if (const auto status = reader.take({space.data(), count})) co_return *status;
    }
}

Task<void> throwAwayRest(beast::tcp_stream stream) {
    stream.expires_after(courtesy);
    std::array<char, 4'096> space{};
    boost::system::error_code error;
    while (!error) {
        co_await stream.async_read_some(asio::buffer(space),
                                        asio::redirect_error(asio::use_awaitable, error));
    }
}

Task<unsigned> exchange(URLRequest request, std::chrono::steady_clock::duration limit) {
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), request.port);
    const auto message = messageOf(std::move(request));
    const auto executor = co_await asio::this_coro::executor;
    beast::tcp_stream stream(executor);
    // Holds for all that follows: a reply that trickles in does not move it.
    stream.expires_after(limit);
    co_await stream.async_connect(endpoint, asio::use_awaitable);
    co_await http::async_write(stream, message, asio::use_awaitable);
    const unsigned status = co_await readStatus(stream);
    asio::co_spawn(executor, throwAwayRest(std::move(stream)), asio::detached);
    co_return status;
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
