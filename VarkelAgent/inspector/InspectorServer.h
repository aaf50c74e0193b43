#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>

#include "base/Task.h"
#include "http/Connection.h"
#include "http/HTTPMessage.h"
#include "http/IOThread.h"
#include "http/Listener.h"
#include "inspector/Relay.h"
#include "inspector/ScreenView.h"
#include "inspector/Session.h"
#include "platform/Screen.h"

namespace varkel::inspector {

/// The longest body of a request, in bytes.
inline constexpr std::uint64_t longestBody = 1'048'576;

/// Serves the page on 127.0.0.1, on threads of its own, to browsers that have brought the key, and what the
/// page asks for to the page alone.
class InspectorServer : private RequestServer {
  public:
    /// Both must outlive it. Throws std::system_error when there is no socket.
    InspectorServer(Relay& relay, Screen& screen);
    InspectorServer(const InspectorServer&) = delete;
    InspectorServer& operator=(const InspectorServer&) = delete;
    /// Ends the connections and waits for what is under way.
    ~InspectorServer() override;  // NOLINT(bugprone-exception-escape)

    /// Has `entered` called, on one of its threads, when a browser has been let in. Before listen().
    void whenEntered(std::function<void()> entered) { entered_ = std::move(entered); }

    /// Serves at this port; 0 takes any free one. Called once.
    std::error_code listen(std::uint16_t port);

    /// The address that lets one browser in. After listen().
    std::string address() const;

    std::uint16_t port() const { return port_; }

  private:
    std::string_view preparedAnswer(const HTTPRequest& request) const override;
    bool isAuthenticated(std::string_view head) const override;
    RequestLimits unauthenticatedLimits() const override;
    RequestLimits authenticatedLimits() const override;
    void handOff(Peer peer) override;
    Task<HTTPResponse> dispatch(HTTPRequest request) override;

    Task<HTTPResponse> answer(HTTPRequest request);
    Task<HTTPResponse> serve(HTTPRequest request, std::string_view path);
    HTTPResponse enter(std::string_view key);
    bool isForUs(const HTTPRequest& request) const;
    bool comesFromPage(const HTTPRequest& request) const;

    Relay& relay_;
    ScreenView view_;
    Session session_;
    std::function<void()> entered_ = [] {};
    std::uint16_t port_ = 0;
    std::string host_;

    UnauthenticatedConnections unauthenticated_;
    /// Where connections are accepted, and served until they have brought the cookie.
    IOThread entrance_;
    IOThread pages_;
    Listener listener_;
};

}  // namespace varkel::inspector
