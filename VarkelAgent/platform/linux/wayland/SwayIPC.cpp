#include "platform/linux/wayland/SwayIPC.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <boost/json/parse.hpp>
#include <cerrno>
#include <cstring>

#include "base/Environment.h"
#include "platform/linux/wayland/LocalSocket.h"

namespace varkel {

namespace {

constexpr std::string_view magic = "i3-ipc";
constexpr std::size_t headSize = magic.size() + 2 * sizeof(std::uint32_t);
/// A tree of some thousand windows has a few megabytes.
constexpr std::size_t maxPayload = std::size_t{32} << 20;
/// Of objects and lists within one another: two for each container in a container.
constexpr std::size_t maxDepth = 256;
constexpr std::uint32_t eventBit = std::uint32_t{1} << 31;
constexpr std::uint32_t inputEvent = eventBit | 21;
/// What changes who is in front, and what changes the keyboards.
constexpr std::string_view events = R"(["window","workspace","input"])";

std::string socketPath() {
    const auto found = environment().find("SWAYSOCK");
    return found == environment().end() ? std::string() : found->second;
}

void append(std::string& bytes, std::uint32_t number) {
    std::array<char, sizeof(number)> raw{};
    std::memcpy(raw.data(), &number, raw.size());
    bytes.append(raw.data(), raw.size());
}

std::uint32_t numberAt(const std::string& bytes, std::size_t at) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data() + at, sizeof(number));
    return number;
}

}  // namespace

bool SwayIPC::isNamed() {
    return !socketPath().empty();
}

std::optional<boost::json::value> SwayIPC::ask(Message message, std::string_view payload,
                                               Clock::time_point deadline) {
    // One that was kept may have ended with the sway that it led to.
    if (socket_) {
        if (auto answer = exchange(message, payload, deadline)) return answer;
    }
    received_.clear();
    socket_ = connectToLocalSocket(socketPath());
    return exchange(message, payload, deadline);
}

std::optional<boost::json::value> SwayIPC::exchange(Message message, std::string_view payload,
                                                    Clock::time_point deadline) {
    bool open = socket_ && send(message, payload, deadline);
    while (open) {
        const auto frame = takeFrame();
        if (frame && frame->type == static_cast<std::uint32_t>(message)) {
            boost::system::error_code error;
            boost::json::parse_options options;
            options.max_depth = maxDepth;
            auto value = boost::json::parse(frame->payload, error, {}, options);
            if (error) break;
            return value;
        }
        if (!frame) open = awaitSocket(POLLIN, deadline) && receiveMore();
    }
    socket_.reset();
    return std::nullopt;
}

bool SwayIPC::send(Message message, std::string_view payload, Clock::time_point deadline) {
    std::string bytes(magic);
    append(bytes, static_cast<std::uint32_t>(payload.size()));
    append(bytes, static_cast<std::uint32_t>(message));
    bytes += payload;
    for (std::size_t sent = 0; sent < bytes.size();) {
        if (!awaitSocket(POLLOUT, deadline)) return false;
        const auto count = ::send(socket_.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN && errno != EINTR) return false;
        if (count > 0) sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool SwayIPC::awaitSocket(short wanted, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) return false;
        pollfd entry{socket_.get(), wanted, 0};
        const int ready = poll(&entry, 1, static_cast<int>(left));
        if (ready > 0) return true;
        if (ready == 0 || errno != EINTR) return false;
    }
}

/// False when the connection has ended.
bool SwayIPC::receiveMore() {
    std::array<char, 65536> piece{};
    const auto count = recv(socket_.get(), piece.data(), piece.size(), MSG_DONTWAIT);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    received_.append(piece.data(), static_cast<std::size_t>(count));
    return count > 0;
}

/// The first message of those received, when it is whole. What is none ends the connection.
std::optional<SwayIPC::Frame> SwayIPC::takeFrame() {
    if (received_.size() < headSize) return std::nullopt;
    const std::size_t size = numberAt(received_, magic.size());
    if (!received_.starts_with(magic) || size > maxPayload) {
        received_.clear();
        shutdown(socket_.get(), SHUT_RDWR);
        return std::nullopt;
    }
    if (received_.size() < headSize + size) return std::nullopt;
    Frame frame{numberAt(received_, magic.size() + sizeof(std::uint32_t)), received_.substr(headSize, size)};
    received_.erase(0, headSize + size);
    return frame;
}

SwayIPC::Changes SwayIPC::takeEvents() {
    constexpr Changes all{true, true};
    if (!socket_) return all;
    Changes changes;
    for (;;) {
        while (const auto frame = takeFrame()) {
            if ((frame->type & eventBit) == 0) continue;
            (frame->type == inputEvent ? changes.keyboards : changes.windows) = true;
        }
        const std::size_t before = received_.size();
        if (!receiveMore()) {
            socket_.reset();
            return all;
        }
        if (received_.size() == before) return changes;
    }
}

void SwayWindowWatcher::takeEvents() {
    const SwayIPC::Changes changes = events_.takeEvents();
    if (changes.windows) current_ = false;
    if (changes.keyboards) ++keyboardChanges_;
}

const std::vector<SwayView>* SwayWindowWatcher::ask(std::chrono::steady_clock::time_point deadline) {
    takeEvents();
    if (!events_.isConnected() && !events_.ask(SwayIPC::Message::subscribe, events, deadline)) return nullptr;
    return current_ ? &views_ : askAnew(deadline);
}

const std::vector<SwayView>* SwayWindowWatcher::askAnew(std::chrono::steady_clock::time_point deadline) {
    const auto tree = questions_.ask(SwayIPC::Message::getTree, {}, deadline);
    if (!tree) return nullptr;
    views_ = readSwayViews(*tree);
    current_ = events_.isConnected();
    return &views_;
}

const std::vector<SwayView>* SwayWindowWatcher::peek() {
    takeEvents();
    return current_ ? &views_ : nullptr;
}

}  // namespace varkel
