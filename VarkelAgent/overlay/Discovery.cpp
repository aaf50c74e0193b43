#include "overlay/Discovery.h"

#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/describe.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <chrono>
#include <exception>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <utility>

#include "base/AtomicFile.h"
#include "base/ReadFile.h"
#include "base/Task.h"
#include "client/HTTPClient.h"
#include "json/JSONDecoder.h"

namespace varkel::overlay {

namespace {

constexpr const char* fileInHome = "/Library/Application Support/Quellan/Varkel/overlay.sock";
constexpr std::size_t longestFile = 65'536;
constexpr std::chrono::seconds patience(2);
constexpr int denied = 423;

struct Service {
    std::uint64_t port = 0;
    std::string token;
};
BOOST_DESCRIBE_STRUCT(Service, (), (port, token))

/// A service denies what it has never heard of; another program that has got the port since knows no such
/// answer.
Task<int> statusOfUnknownPrompt(Service service) {
    HTTPRequest request;
    request.method = "GET";
    request.path = "/consent/00000000-0000-0000-0000-000000000000";
    request.headers = {{"x-overlay-token", service.token}};
    HTTPClient client(co_await boost::asio::this_coro::executor, static_cast<std::uint16_t>(service.port));
    const HTTPResponse response = co_await client.send(request, patience);
    co_return response.status;
}

}  // namespace

std::string freshSecret() {
    std::array<unsigned char, 32> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw std::runtime_error("the system has no random numbers");
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string secret;
    for (const unsigned char byte : bytes) {
        secret += digits[byte >> 4U];
        secret += digits[byte & 15U];
    }
    return secret;
}

Discovery::Discovery(const std::string& home, std::uint16_t port, const std::string& secret)
    : path_(home + fileInHome),
      content_(
          boost::json::serialize(boost::json::object{{"port", port}, {"token", secret}, {"details", true}})) {
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
    writeFileAtomically(path_, content_, S_IRUSR | S_IWUSR);
}

void Discovery::remove() const {
    if (readRegularFile(path_, longestFile) == content_) ::unlink(path_.c_str());
}

bool Discovery::isServed(const std::string& home) {
    const auto content = readRegularFile(home + fileInHome, longestFile);
    if (!content) return false;
    int status = 0;
    try {
        Service service = decodeJSON<Service>(*content);
        if (service.port == 0 || service.port > std::numeric_limits<std::uint16_t>::max()) return false;
        boost::asio::io_context context;
        boost::asio::co_spawn(
            context, statusOfUnknownPrompt(std::move(service)),
            [&](const std::exception_ptr& error, int found) { status = error ? 0 : found; });
        context.run();
    } catch (const std::exception&) {
        return false;
    }
    return status == denied;
}

}  // namespace varkel::overlay
