#include "support/AgentServer.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <stdexcept>

#include "routes/Routes.h"
#include "support/Deadline.h"

namespace varkel::test {

AgentServer::AgentServer(const std::optional<OverlayClient>& overlay) {
    registerRoutes(server_, overlay);
    starter_ = std::thread([this] {
        boost::asio::co_spawn(context_, server_.start(), boost::asio::detached);
        context_.run();
    });
    if (!eventually([this] { return server_.listeningPort() != 0; })) {
        throw std::runtime_error("the server does not listen");
    }
}

AgentServer::~AgentServer() {
    server_.cancel();
    starter_.join();
}

RawResponse AgentServer::send(const std::string& method, const std::string& path, const std::string& body,
                              const std::string& headers) const {
    return RawClient(server_.listeningPort())
        .request(method + " " + path + " HTTP/1.1\r\nx-varkel-token: " + token + "\r\n" + headers +
                 "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

RawResponse AgentServer::sendWithoutToken(const std::string& method, const std::string& path,
                                          const std::string& body) const {
    return RawClient(server_.listeningPort())
        .request(method + " " + path + " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                 "\r\n\r\n" + body);
}

}  // namespace varkel::test
