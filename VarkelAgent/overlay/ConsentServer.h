#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/Task.h"
#include "http/Connection.h"
#include "http/HTTPMessage.h"
#include "http/IOThread.h"
#include "http/Listener.h"
#include "http/UnauthenticatedConnections.h"
#include "overlay/Action.h"

namespace varkel::overlay {

/// Who decides. Called on the server's thread; must not block.
struct ConsentHandler {
    std::function<void(AgentEvent)> receive;
    /// To call the given function once, on any thread, with the decision about the prompt with this id.
    std::function<void(std::string id, std::function<void(bool allowed)>)> decide;
    /// The one who waited for this decision has gone.
    std::function<void(std::string id)> leave;
};

/// Speaks with the agent on a port of 127.0.0.1: POST /event tells of a prompt, GET /consent/ID waits for the
/// decision. Only requests with the secret in X-Overlay-Token are listened to.
class ConsentServer : private RequestServer {
  public:
    /// The longest event that is read.
    static constexpr std::uint64_t longestEvent = std::uint64_t{4} << 20;

    /// Listens on a free port, on threads of its own. Throws std::system_error.
    ConsentServer(std::string token, ConsentHandler handler);
    ConsentServer(const ConsentServer&) = delete;
    ConsentServer& operator=(const ConsentServer&) = delete;
    /// Ends the connections. Decisions that are waited for must have been given.
    ~ConsentServer() override;  // NOLINT(bugprone-exception-escape)

    std::uint16_t port() const { return port_; }

    /// Where requests to the agent may run beside the answers to it.
    boost::asio::any_io_executor executor() { return serving_.context().get_executor(); }

  private:
    std::string_view preparedAnswer(const HTTPRequest& request) const override;
    bool isAuthenticated(std::string_view head) const override;
    RequestLimits unauthenticatedLimits() const override;
    void handOff(Peer peer) override;
    Task<HTTPResponse> dispatch(HTTPRequest request) override;

    HTTPResponse receive(const HTTPRequest& request) const;
    Task<HTTPResponse> decision(std::string id, RequestClient* client) const;

    const std::string token_;
    const ConsentHandler handler_;
    UnauthenticatedConnections unauthenticated_;
    IOThread accepting_;
    IOThread serving_;
    Listener listener_;
    std::uint16_t port_ = 0;
};

}  // namespace varkel::overlay
