#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Event.h"
#include "base/Task.h"
#include "http/Connection.h"
#include "http/HTTPMessage.h"
#include "http/IOThread.h"
#include "http/Listener.h"

namespace varkel {

/// What a route does with a request. Entered on an I/O thread, for several connections at once; whatever
/// blocks goes through runBlocking() (BlockingPool.h).
using RouteHandler = std::function<Task<HTTPResponse>(HTTPRequest)>;

/// The answer to the health check.
HTTPResponse healthResponse();

/// Serves requests on 127.0.0.1: checks the token, calls the route that matches, and turns what a handler
/// throws into an answer.
class HTTPServer : private RequestServer {
  public:
    HTTPServer(std::uint16_t port, std::string token);
    HTTPServer(const HTTPServer&) = delete;
    HTTPServer& operator=(const HTTPServer&) = delete;

    /// Ends listening and the connections, and waits for the handlers under way. start() must have returned
    /// or never been called.
    ~HTTPServer() override;  // NOLINT(bugprone-exception-escape)

    /// Adds a route; the first one that matches a request is called. Before start().
    void registerRoute(std::string method, std::string path, RouteHandler handler);

    /// Has `observe` called on an I/O thread whenever a route has an answer. Before start().
    void whenAnswered(std::function<void()> observe) { observe_ = std::move(observe); }

    std::size_t registeredRouteCount() const { return routes_.size(); }

    /// The routes as "METHOD /path", in order.
    std::vector<std::string> registeredRoutes() const;

    /// Listens and serves on threads of its own; returns after cancel(). A port that cannot be had is
    /// reported on standard output and nothing more. Throws std::system_error when there is no socket or no
    /// thread. Called once, on an executor that one thread serves.
    Task<void> start();

    /// Makes start() return. Any thread.
    void cancel();

    /// The port that is listened on, once it is; 0 until then. Any thread.
    std::uint16_t listeningPort() const { return listeningPort_; }

    /// How many requests were refused for a missing or wrong token. Any thread.
    std::int64_t getRejectionCount() const { return rejectionCount_; }
    void incrementRejection() { ++rejectionCount_; }

    /// Whether this is the token. Takes as long for every value of the right length. Any thread.
    bool verifyToken(std::string_view value) const;

  private:
    struct Route {
        std::string method;
        std::string path;
        RouteHandler handler;
    };

    std::string_view preparedAnswer(const HTTPRequest& request) const override;
    bool isAuthenticated(std::string_view head) const override;
    RequestLimits unauthenticatedLimits() const override;
    void handOff(Peer peer) override;
    Task<HTTPResponse> dispatch(HTTPRequest request) override;

    const Route* findRoute(const HTTPRequest& request) const;
    void startThreads();
    void listen();
    void serveConnections();
    void endListener();

    const std::uint16_t port_;
    const std::string token_;
    std::vector<Route> routes_;
    std::function<void()> observe_ = [] {};
    std::atomic<std::int64_t> rejectionCount_ = 0;
    std::atomic<std::uint16_t> listeningPort_ = 0;

    const std::string healthAnswer_;

    /// Authenticated connections are dealt to them in turn. A list: they do not move.
    std::list<IOThread> threads_;
    std::list<IOThread>::iterator nextThread_;

    /// Where all connections are accepted, and served until they have authenticated.
    UnauthenticatedConnections unauthenticated_;
    std::optional<IOThread> acceptThread_;
    std::optional<Listener> listener_;

    std::mutex stateMutex_;
    bool isCancelled_ = false;
    /// Set on start()'s executor; null before start().
    std::shared_ptr<Event> cancelled_;
};

}  // namespace varkel
