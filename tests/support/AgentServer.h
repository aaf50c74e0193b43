#pragma once

#include <boost/asio/io_context.hpp>
#include <optional>
#include <string>
#include <thread>

#include "http/HTTPServer.h"
#include "routes/OverlayClient.h"
#include "support/RawClient.h"

namespace varkel::test {

/// All of the agent's endpoints behind a loopback socket, on the desktop that is installed.
class AgentServer {
  public:
    static constexpr const char* token = "the agent's token";

    explicit AgentServer(const std::optional<OverlayClient>& overlay);
    AgentServer(const AgentServer&) = delete;
    AgentServer& operator=(const AgentServer&) = delete;
    ~AgentServer();

    std::vector<std::string> routes() const { return server_.registeredRoutes(); }

    /// Sends a request with the token. `headers`: further lines, each with its line break.
    RawResponse send(const std::string& method, const std::string& path, const std::string& body,
                     const std::string& headers = "") const;

    RawResponse sendWithoutToken(const std::string& method, const std::string& path,
                                 const std::string& body) const;

  private:
    boost::asio::io_context context_{1};
    HTTPServer server_{0, token};
    std::thread starter_;
};

}  // namespace varkel::test
