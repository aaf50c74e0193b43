#include "overlay/ConsentServer.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "base/ConstantTime.h"
#include "base/ParseInteger.h"
#include "http/JSONResponse.h"
#include "json/JSONDecoder.h"

namespace varkel::overlay {

namespace asio = boost::asio;

namespace {

constexpr std::size_t mostUnauthenticated = 64;
/// How often it is looked whether the one who waits is still there.
constexpr std::chrono::seconds lookInterval(1);
constexpr std::string_view consentPath = "/consent/";
constexpr std::size_t idLength = 36;

constexpr int granted = 200;
constexpr int denied = 423;

HTTPResponse statusOnly(int status) {
    return jsonResponse(status, boost::json::object{});
}

/// The texts that an id is made of; anything else is not looked up.
bool isPromptId(std::string_view id) {
    return id.size() == idLength && std::ranges::all_of(id, [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || c == '-';
           });
}

/// A decision on its way to the coroutine that waits for it.
struct Waiting {
    explicit Waiting(const asio::any_io_executor& executor) : timer(executor) {}

    asio::steady_timer timer;
    std::optional<bool> allowed;
};

}  // namespace

ConsentServer::ConsentServer(std::string token, ConsentHandler handler)
    : token_(std::move(token)),
      handler_(std::move(handler)),
      unauthenticated_(mostUnauthenticated),
      accepting_(static_cast<RequestServer&>(*this), &unauthenticated_),
      serving_(static_cast<RequestServer&>(*this)),
      listener_(accepting_.context()) {
    if (const std::error_code error = listener_.listen(0)) throw std::system_error(error, "cannot listen");
    port_ = listener_.port();
    auto adopt = [this](FileDescriptor socket) {
        accepting_.adopt({std::move(socket), HTTPParser(), std::nullopt});
    };
    asio::co_spawn(accepting_.context(), listener_.serve(std::move(adopt)), asio::detached);
}

// Throws only without memory, and then the process may as well end.
ConsentServer::~ConsentServer() {  // NOLINT(bugprone-exception-escape)
    asio::post(accepting_.context(), [this] { listener_.close(); });
    accepting_.finish();
    serving_.finish();
}

std::string_view ConsentServer::preparedAnswer(const HTTPRequest&) const {
    return {};
}

/// A request that announces too much counts as one without the secret: its body is thrown away as it comes.
bool ConsentServer::isAuthenticated(std::string_view head) const {
    if (const auto length = headerValue(head, "content-length")) {
        const auto bytes = parseInteger<std::uint64_t>(*length);
        if (!bytes || *bytes > longestEvent) return false;
    }
    const auto value = headerValue(head, "x-overlay-token");
    return value && equalsInConstantTime(*value, token_);
}

RequestLimits ConsentServer::unauthenticatedLimits() const {
    static const std::vector<std::string> none;
    constexpr std::size_t longestOfUse = 256;
    return {&none, longestOfUse, false};
}

void ConsentServer::handOff(Peer peer) {
    serving_.adopt(std::move(peer));
}

Task<HTTPResponse> ConsentServer::dispatch(HTTPRequest request) {
    if (!request.authenticated) co_return statusOnly(401);
    const std::string_view path = request.path;
    if (request.method == "POST" && path == "/event") co_return receive(request);
    if (request.method == "GET" && path.starts_with(consentPath)) {
        std::string id(path.substr(consentPath.size()));
        if (isPromptId(id)) co_return co_await decision(std::move(id), request.client);
    }
    co_return statusOnly(404);
}

HTTPResponse ConsentServer::receive(const HTTPRequest& request) const {
    try {
        handler_.receive(decodeJSON<AgentEvent>(request.body));
        return statusOnly(200);
    } catch (const DecodingError&) {
        return statusOnly(400);
    }
}

Task<HTTPResponse> ConsentServer::decision(std::string id, RequestClient* client) const {
    const auto executor = co_await asio::this_coro::executor;
    const auto waiting = std::make_shared<Waiting>(executor);
    handler_.decide(id, [waiting, executor](bool allowed) {
        asio::post(executor, [waiting, allowed] {
            waiting->allowed = allowed;
            waiting->timer.cancel();
        });
    });
    while (!waiting->allowed) {
        if (client != nullptr && client->hasGone()) {
            handler_.leave(id);
            co_return statusOnly(denied);
        }
        boost::system::error_code ignored;
        waiting->timer.expires_after(lookInterval);
        co_await waiting->timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
    co_return statusOnly(*waiting->allowed ? granted : denied);
}

}  // namespace varkel::overlay
