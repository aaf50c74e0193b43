#include "http/HTTPServer.h"

#include <sys/resource.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstdio>
#include <exception>
#include <utility>

#include "base/ConstantTime.h"
#include "http/FailureTable.h"
#include "http/HTTPSerializer.h"
#include "http/JSONResponse.h"

namespace varkel {

namespace asio = boost::asio;

namespace {

constexpr unsigned maxIOThreads = 2;
constexpr const char* tokenHeader = "x-varkel-token";

// Far more than honest callers have open at a time.
constexpr std::size_t maxUnauthenticated = 4'096;

/// How many unauthenticated connections there may be. Three quarters of the descriptors are for the others.
std::size_t unauthenticatedAllowed() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return maxUnauthenticated;
    return std::clamp<std::size_t>(limit.rlim_cur / 4, 1, maxUnauthenticated);
}

void print(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
}

Task<HTTPResponse> call(const RouteHandler& handler, HTTPRequest request) {
    try {
        co_return co_await handler(std::move(request));
    } catch (...) {
        co_return failureResponse(std::current_exception());
    }
}

}  // namespace

HTTPResponse healthResponse() {
    return jsonResponse(200, boost::json::object{{"ok", true}, {"version", "0.2.0"}});
}

HTTPServer::HTTPServer(std::uint16_t port, std::string token)
    : port_(port),
      token_(std::move(token)),
      healthAnswer_(serializeResponse(healthResponse())),
      unauthenticated_(unauthenticatedAllowed()) {}

// Throws only without memory, and then the process may as well end.
HTTPServer::~HTTPServer() {  // NOLINT(bugprone-exception-escape)
    endListener();
    // First, for it hands over to the others.
    if (acceptThread_) acceptThread_->finish();
    for (IOThread& thread : threads_) thread.finish();
}

void HTTPServer::registerRoute(std::string method, std::string path, RouteHandler handler) {
    routes_.push_back({std::move(method), std::move(path), std::move(handler)});
}

std::vector<std::string> HTTPServer::registeredRoutes() const {
    std::vector<std::string> names;
    for (const Route& route : routes_) names.push_back(route.method + " " + route.path);
    return names;
}

bool HTTPServer::verifyToken(std::string_view value) const {
    return equalsInConstantTime(value, token_);
}

bool HTTPServer::isAuthenticated(std::string_view head) const {
    const auto value = headerValue(head, tokenHeader);
    return value && verifyToken(*value);
}

/// A head may be a mebibyte long, take many times that in memory, and wait for a body that never comes: no
/// more is kept of one without the token than its answer needs.
RequestLimits HTTPServer::unauthenticatedLimits() const {
    static const std::vector<std::string> none;
    constexpr std::size_t longestOfUse = 256;
    return {&none, longestOfUse, false};
}

Task<void> HTTPServer::start() {
    const auto cancelled = std::make_shared<Event>(co_await asio::this_coro::executor);
    {
        const std::lock_guard lock(stateMutex_);
        cancelled_ = cancelled;
        if (isCancelled_) cancelled->set();
    }
    startThreads();
    listener_.emplace(acceptThread_->context());
    listen();
    co_await cancelled->wait();
    endListener();
}

void HTTPServer::startThreads() {
    // Half of the machine is the callers': with two threads on two cores the agent and its callers push each
    // other off the cores, which costs an eighth of the requests per second.
    const unsigned count = std::clamp(std::thread::hardware_concurrency() / 2, 1U, maxIOThreads);
    for (unsigned i = 0; i < count; ++i) threads_.emplace_back(static_cast<RequestServer&>(*this));
    nextThread_ = threads_.begin();
    // It has little to do, so it gets a processor soon when all are taken: a health check does not wait
    // for what others have asked for.
    acceptThread_.emplace(static_cast<RequestServer&>(*this), &unauthenticated_);
}

void HTTPServer::listen() {
    if (const std::error_code error = listener_->listen(port_)) {
        print("Server failed: " + error.message());
        return;
    }
    serveConnections();
    listeningPort_ = listener_->port();
    print("Server listening on 127.0.0.1:" + std::to_string(port_));
}

void HTTPServer::serveConnections() {
    auto adopt = [this](FileDescriptor socket) {
        acceptThread_->adopt({std::move(socket), HTTPParser(), std::nullopt});
    };
    asio::co_spawn(acceptThread_->context(), listener_->serve(std::move(adopt)), asio::detached);
}

void HTTPServer::handOff(Peer peer) {
    nextThread_->adopt(std::move(peer));
    if (++nextThread_ == threads_.end()) nextThread_ = threads_.begin();
}

void HTTPServer::cancel() {
    const std::lock_guard lock(stateMutex_);
    isCancelled_ = true;
    if (cancelled_) asio::post(cancelled_->executor(), [event = cancelled_] { event->set(); });
}

void HTTPServer::endListener() {
    if (!listener_) return;
    asio::post(acceptThread_->context(), [this] { listener_->close(); });
}

std::string_view HTTPServer::preparedAnswer(const HTTPRequest& request) const {
    const bool isHealth = request.method == "GET" && request.path == "/health";
    return isHealth ? std::string_view(healthAnswer_) : std::string_view();
}

const HTTPServer::Route* HTTPServer::findRoute(const HTTPRequest& request) const {
    const auto found = std::ranges::find_if(routes_, [&](const Route& route) {
        return route.method == request.method && route.path == request.path;
    });
    return found == routes_.end() ? nullptr : &*found;
}

Task<HTTPResponse> HTTPServer::dispatch(HTTPRequest request) {
    if (!request.authenticated) {
        incrementRejection();
        co_return failureResponse(HTTPError::Case::unauthorized);
    }
    const Route* route = findRoute(request);
    if (route == nullptr) co_return failureResponse(HTTPError::Case::notFound);
    HTTPResponse response = co_await call(route->handler, std::move(request));
    observe_();
    co_return response;
}

}  // namespace varkel
