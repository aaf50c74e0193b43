#pragma once

#include <optional>
#include <string>
#include <vector>

#include "routes/Routes.h"
#include "support/RawClient.h"
#include "support/RunningServer.h"

namespace varkel::test {

/// All of the agent's endpoints behind a loopback socket, on the desktop that is installed.
class AgentServer {
  public:
    explicit AgentServer(const std::optional<OverlayClient>& overlay) {
        registerRoutes(server_, overlay);
        running_.emplace(server_);
    }

    std::vector<std::string> routes() const { return server_.registeredRoutes(); }

    /// Sends a request with the token. `headers`: further lines, each with its line break.
    RawResponse send(const std::string& methodAndPath, const std::string& body,
                     const std::string& headers = "") const {
        return sendWithoutToken(methodAndPath, body, "x-varkel-token: the agent's token\r\n" + headers);
    }
    RawResponse sendWithoutToken(const std::string& methodAndPath, const std::string& body,
                                 const std::string& headers = "") const {
        return RawClient(server_.listeningPort()).request(requestText(methodAndPath, body, headers));
    }

  private:
    HTTPServer server_{0, "the agent's token"};
    std::optional<RunningServer> running_;
};

}  // namespace varkel::test
