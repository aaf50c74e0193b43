#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace varkel::test {

/// A response as it came over the wire.
struct RawResponse {
    std::string statusLine;
    std::map<std::string, std::string> headers;
    std::string body;

    int status() const { return std::stoi(statusLine.substr(9)); }
    std::string statusAndBody() const { return std::to_string(status()) + " " + body; }
};

/// The bytes of a request. `headers`: lines, each with its line break.
inline std::string requestText(const std::string& methodAndPath, const std::string& body = "",
                               const std::string& headers = "") {
    return methodAndPath + " HTTP/1.1\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

/// A client socket on the loopback address, whose every wait has a deadline. What goes wrong is an exception.
class RawClient {
  public:
    explicit RawClient(std::uint16_t port);

    void send(std::string_view bytes);

    /// Says that nothing more will be sent.
    void finishSending();

    /// The next response, read by its Content-Length; nothing when the server closes before one starts.
    std::optional<RawResponse> receive();

    /// Waits until the server closes; what came before that is returned.
    std::string receiveRest();

    /// Whether nothing arrives and the connection stays open for a moment.
    bool isQuiet();

    RawResponse request(std::string_view bytes);

  private:
    bool hasMore();
    std::string takeLine();

    boost::asio::ip::tcp::iostream stream_;
};

}  // namespace varkel::test
