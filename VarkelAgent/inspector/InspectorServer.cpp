#include "inspector/InspectorServer.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>
#include <memory>
#include <utility>
#include <vector>

#include "base/ParseInteger.h"
#include "http/FailureTable.h"
#include "http/JSONResponse.h"
#include "inspector/Page.h"

namespace varkel::inspector {

namespace asio = boost::asio;

namespace {

constexpr std::size_t mostUnauthenticated = 64;

// Of a request that is refused, or that brings the key, this much is looked at.
constexpr std::size_t longestOfUse = 256;

constexpr std::string_view keyPath = "/?key=";
constexpr std::string_view agentPath = "agent";
constexpr std::string_view textType = "text/plain; charset=utf-8";

// Nothing from elsewhere is loaded, nothing on the page is run that is not one of its files, no other page
// shows it in a frame, and texts cannot become markup.
constexpr std::string_view contentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; "
    "trusted-types 'none'";

HTTPResponse textResponse(int status, std::string_view type, std::string_view text) {
    HTTPResponse response;
    response.status = status;
    response.setHeader("Content-Type", type);
    response.body = std::make_shared<const std::string>(text);
    return response;
}

HTTPResponse refusal(int status, std::string_view text) {
    return textResponse(status, textType, text);
}

void protect(HTTPResponse& response) {
    response.setHeader("Content-Security-Policy", contentPolicy);
    response.setHeader("Cache-Control", "no-store");
    response.setHeader("X-Content-Type-Options", "nosniff");
    response.setHeader("Referrer-Policy", "no-referrer");
    response.setHeader("Cross-Origin-Resource-Policy", "same-origin");
    response.setHeader("Cross-Origin-Opener-Policy", "same-origin");
}

const PageFile* findPageFile(std::string_view name) {
    const auto files = pageFiles();
    const auto found = std::ranges::find(files, name, &PageFile::name);
    return found == files.end() ? nullptr : &*found;
}

/// Whether a body was announced that is longer than what is kept.
bool isTooLong(const HTTPRequest& request) {
    const std::string* length = request.header("content-length");
    if (length == nullptr) return false;
    const auto number = parseInteger<std::uint64_t>(*length);
    return number && *number > longestBody;
}

}  // namespace

InspectorServer::InspectorServer(Relay& relay, Screen& screen)
    : relay_(relay),
      view_(screen, relay),
      unauthenticated_(mostUnauthenticated),
      entrance_(static_cast<RequestServer&>(*this), &unauthenticated_),
      pages_(static_cast<RequestServer&>(*this)),
      listener_(entrance_.context()) {}

// Throws only without memory, and then the process may as well end.
InspectorServer::~InspectorServer() {  // NOLINT(bugprone-exception-escape)
    asio::post(entrance_.context(), [this] { listener_.close(); });
    // First, for it hands over to the other.
    entrance_.finish();
    pages_.finish();
}

std::error_code InspectorServer::listen(std::uint16_t port) {
    if (const std::error_code error = listener_.listen(port)) return error;
    port_ = listener_.port();
    host_ = "127.0.0.1:" + std::to_string(port_);
    auto adopt = [this](FileDescriptor socket) {
        entrance_.adopt({std::move(socket), HTTPParser(), std::nullopt});
    };
    asio::co_spawn(entrance_.context(), listener_.serve(std::move(adopt)), asio::detached);
    return {};
}

std::string InspectorServer::address() const {
    return "http://" + host_ + std::string(keyPath) + session_.key();
}

std::string_view InspectorServer::preparedAnswer(const HTTPRequest& /*request*/) const {
    return {};
}

bool InspectorServer::isAuthenticated(std::string_view head) const {
    const auto cookies = headerValue(head, "cookie");
    return cookies && session_.holdsCookie(*cookies);
}

RequestLimits InspectorServer::unauthenticatedLimits() const {
    static const std::vector<std::string> needed{"host", "origin"};
    return {&needed, longestOfUse, false};
}

RequestLimits InspectorServer::authenticatedLimits() const {
    RequestLimits limits;
    limits.longestBody = longestBody;
    return limits;
}

void InspectorServer::handOff(Peer peer) {
    pages_.adopt(std::move(peer));
}

/// Another name for this machine in the Host header is a page elsewhere that has had its own name point here.
bool InspectorServer::isForUs(const HTTPRequest& request) const {
    const std::string* host = request.header("host");
    return host != nullptr && *host == host_;
}

/// Browsers say where a request comes from that may change something; with one that only reads they may not.
bool InspectorServer::comesFromPage(const HTTPRequest& request) const {
    const std::string* origin = request.header("origin");
    if (origin == nullptr) return request.method == "GET";
    return *origin == "http://" + host_;
}

Task<HTTPResponse> InspectorServer::dispatch(HTTPRequest request) {
    HTTPResponse response;
    try {
        response = co_await answer(std::move(request));
    } catch (...) {
        response = failureResponse(std::current_exception());
    }
    protect(response);
    co_return response;
}

Task<HTTPResponse> InspectorServer::answer(HTTPRequest request) {
    if (!isForUs(request)) co_return refusal(403, "This address is not served here.\n");
    if (!comesFromPage(request)) co_return refusal(403, "Only the inspector's own page may ask for this.\n");
    const std::string path = request.path;
    if (request.method == "GET" && path.starts_with(keyPath)) {
        co_return enter(std::string_view(path).substr(keyPath.size()));
    }
    if (!request.authenticated) {
        co_return refusal(401, "Open the address that varkel-inspector has printed.\n");
    }
    if (isTooLong(request)) co_return refusal(413, "The body is too long.\n");
    const std::string& base = session_.path();
    if (!path.starts_with(base)) co_return failureResponse(HTTPError::Case::notFound);
    co_return co_await serve(std::move(request), std::string_view(path).substr(base.size()));
}

/// A page that goes on by itself: sent there by a redirection, a browser that a link of another site has led
/// here would not bring the cookie.
HTTPResponse InspectorServer::enter(std::string_view key) {
    if (!session_.takeKey(key)) {
        return refusal(403,
                       "This address has been used, or it is of an earlier run: varkel-inspector has printed "
                       "the one that counts.\n");
    }
    const std::string& path = session_.path();
    const std::string page =
        "<!doctype html><title>varkel-inspector</title>"
        "<meta http-equiv=\"refresh\" content=\"0;url=" +
        path +
        "\">"
        "<a href=\"" +
        path + "\">The inspector</a>\n";
    HTTPResponse response = textResponse(200, "text/html; charset=utf-8", page);
    response.setHeader("Set-Cookie", session_.setCookie());
    entered_();
    return response;
}

/// `path` is below the session's.
Task<HTTPResponse> InspectorServer::serve(HTTPRequest request, std::string_view path) {
    if (request.method == "GET") {
        if (const PageFile* file = findPageFile(path)) co_return textResponse(200, file->type, file->bytes);
        if (path == "about") co_return jsonResponse(200, {{"agentPort", relay_.agentPort()}});
    }
    if (request.method == "POST") {
        if (path == "screen") co_return co_await view_.take();
        if (path == "screen/lines") co_return co_await view_.recognise("/ocr", std::move(request.body));
        if (path == "screen/find")
            co_return co_await view_.recognise("/visual/find", std::move(request.body));
    }
    const HandedOn* route =
        path.starts_with(agentPath) ? findHandedOn(request.method, path.substr(agentPath.size())) : nullptr;
    if (route == nullptr) co_return failureResponse(HTTPError::Case::notFound);
    co_return co_await relay_.send(std::string(route->method), std::string(route->path),
                                   std::move(request.body), route->limit);
}

}  // namespace varkel::inspector
