#include "routes/OverlayClient.h"

#include <boost/describe.hpp>
#include <boost/url/parse.hpp>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/BlockingPool.h"
#include "base/RegularFile.h"
#include "json/JSONDecoder.h"
#include "json/JSONEncoder.h"

namespace varkel {

namespace {

constexpr const char* discoveryFile = "/Library/Application Support/Quellan/Varkel/overlay.sock";
// Larger than anything that can be meant.
constexpr std::size_t largestDiscoveryFile = std::size_t{256} << 20;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

constexpr std::chrono::seconds decisionLimit(2);
constexpr std::chrono::milliseconds pollInterval(100);

constexpr unsigned granted = 200;
constexpr unsigned denied = 423;

struct Discovery {
    std::int64_t port = 0;
    std::string token;
};
BOOST_DESCRIBE_STRUCT(Discovery, (), (port, token))

/// Boost 1.81 takes a host or a port that is none, such as 127.0.0.1.example, for one that ends where it can,
/// with a path after it that starts with the rest. No path may start so behind a host.
bool isWhole(const boost::urls::url_view& url) {
    const auto path = url.encoded_path();
    return !url.has_authority() || path.empty() || path.starts_with('/');
}

/// What a discovery file says. Raises std::runtime_error when it cannot be used.
Discovery readDiscovery(const std::string& path) {
    const auto text = readRegularFile(path, largestDiscoveryFile);
    if (!text) throw std::runtime_error("it cannot be read");
    std::string_view json = *text;
    if (json.starts_with(byteOrderMark)) json.remove_prefix(byteOrderMark.size());
    return decodeJSON<Discovery>(json);
}

}  // namespace

std::optional<OverlayClient> OverlayClient::init(URLSession urlSession, const std::string& home) {
    const std::string path = home + discoveryFile;
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) return std::nullopt;
    try {
        Discovery found = readDiscovery(path);
        return OverlayClient("http://127.0.0.1:" + std::to_string(found.port), std::move(found.token),
                             urlSession);
    } catch (const std::runtime_error& failure) {
        // The person counts on being asked.
        std::fprintf(stderr, "No consent will be asked for: %s is of no use, %s\n", path.c_str(),
                     failure.what());
        return std::nullopt;
    }
}

OverlayClient::OverlayClient(std::string baseURL, std::string token, URLSession urlSession)
    : baseURL_(std::move(baseURL)), token_(std::move(token)), urlSession_(urlSession) {}

/// The address of `path` at the service; nothing when there is none, or when it would lead off this machine,
/// where the secret must not go.
std::optional<boost::urls::url> OverlayClient::makeURL(const std::string& path) const {
    const auto base = boost::urls::parse_uri(baseURL_);
    const auto reference = boost::urls::parse_uri_reference(path);
    if (!base || !isWhole(*base) || !reference || !isWhole(*reference)) return std::nullopt;
    boost::urls::url resolved;
    if (!boost::urls::resolve(*base, *reference, resolved)) return std::nullopt;
    if (resolved.encoded_host() != "127.0.0.1") return std::nullopt;
    return resolved;
}

std::optional<URLRequest> OverlayClient::makeRequest(std::string_view method, const std::string& path) const {
    auto url = makeURL(path);
    if (!url) return std::nullopt;
    return URLRequest{std::move(*url), std::string(method), {{"X-Overlay-Token", token_}}, std::nullopt};
}

Task<void> OverlayClient::emitEvent(std::string_view type, boost::json::object payload) const {
    auto request = makeRequest("POST", "/event");
    if (!request) co_return;
    payload["type"] = type;
    request->headers.emplace_back("Content-Type", "application/json");
    request->body = encodeJSON(payload);
    co_await urlSession_.status(std::move(*request));
}

Task<bool> OverlayClient::checkConsent(std::string id) const {
    const auto request = makeRequest("GET", "/consent/" + id);
    if (!request) co_return false;
    const auto deadline = std::chrono::steady_clock::now() + decisionLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        const auto status = co_await urlSession_.status(*request);
        if (!status || status == denied) co_return false;
        if (status == granted) co_return true;
        co_await sleepFor(pollInterval);
    }
    co_return false;
}

}  // namespace varkel
