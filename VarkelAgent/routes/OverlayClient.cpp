#include "routes/OverlayClient.h"

#include <boost/describe.hpp>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/BlockingPool.h"
#include "base/ReadFile.h"
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

/// What a file may say beyond that.
struct Wishes {
    std::optional<bool> details;
};
BOOST_DESCRIBE_STRUCT(Wishes, (), (details))

/// A file in which this is something else than true or false is still one to ask by.
bool saysDetails(std::string_view json) {
    try {
        return decodeJSON<Wishes>(json).details.value_or(false);
    } catch (const DecodingError&) {
        return false;
    }
}

/// The JSON of a discovery file. Throws std::runtime_error when it cannot be read.
std::string readDiscovery(const std::string& path) {
    auto text = readRegularFile(path, largestDiscoveryFile);
    if (!text) throw std::runtime_error("it cannot be read");
    if (text->starts_with(byteOrderMark)) text->erase(0, byteOrderMark.size());
    return *std::move(text);
}

}  // namespace

std::optional<OverlayClient> OverlayClient::init(URLSession urlSession, const std::string& home) {
    const std::string path = home + discoveryFile;
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path, error))) return std::nullopt;
    try {
        const std::string json = readDiscovery(path);
        auto found = decodeJSON<Discovery>(json);
        return OverlayClient(found.port, std::move(found.token), saysDetails(json), urlSession);
    } catch (const std::runtime_error& failure) {
        // The person counts on being asked.
        std::fprintf(stderr, "No consent will be asked for: %s is of no use, %s\n", path.c_str(),
                     failure.what());
        return std::nullopt;
    }
}

/// Nothing when the service has named a port that cannot be.
std::optional<URLRequest> OverlayClient::makeRequest(std::string method, std::string path) const {
    if (!std::in_range<std::uint16_t>(port_)) return std::nullopt;
    return URLRequest{static_cast<std::uint16_t>(port_),
                      std::move(method),
                      std::move(path),
                      {{"X-Overlay-Token", token_}},
                      std::nullopt};
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
