#include "platform/linux/atspi/SdBus.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <vector>

namespace varkel {

namespace {

/// Calls on their way at a time: enough that an application always has the next one at hand, few enough that
/// neither side's socket buffer fills while the other one writes.
constexpr std::size_t window = 128;

/// Replies handled before serve() returns, so that its caller looks at the clock now and then.
constexpr int servedAtOnce = 256;

CallOutcome outcomeOf(const sd_bus_error* error) {
    constexpr std::array<std::string_view, 4> unsupported{
        SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_INTERFACE, SD_BUS_ERROR_UNKNOWN_PROPERTY,
        SD_BUS_ERROR_NOT_SUPPORTED};
    // Made up by the library or the bus when the other side has gone.
    constexpr std::array<std::string_view, 4> unanswered{
        SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT, SD_BUS_ERROR_DISCONNECTED, "System.Error.ECONNRESET"};
    const std::string_view name(error->name == nullptr ? "" : error->name);
    if (std::ranges::find(unsupported, name) != unsupported.end()) return CallOutcome::unsupported;
    if (std::ranges::find(unanswered, name) != unanswered.end()) return CallOutcome::unanswered;
    return CallOutcome::refused;
}

void waitFor(std::span<pollfd> fds, Deadline::Duration timeout) {
    // A signal ends the wait early; every caller looks at its deadline again.
    ::poll(fds.data(), fds.size(),
           static_cast<int>(std::min<Deadline::Duration::rep>(timeout.count(), 60'000)));
}

/// Takes what is no answer to a call.
int dropMessage(sd_bus_message*, void*, sd_bus_error*) {
    return 1;
}

}  // namespace

std::unique_ptr<BusConnection> BusConnection::begin(const std::string& address, BusKind kind) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0) return nullptr;
    std::unique_ptr<BusConnection> connection(new BusConnection(bus));
    if (sd_bus_set_address(bus, address.c_str()) < 0) return nullptr;
    if (sd_bus_set_bus_client(bus, kind == BusKind::messageBus ? 1 : 0) < 0) return nullptr;
    // No answer holds descriptors. A peer that sends some all the same would use up this process's.
    if (sd_bus_negotiate_fds(bus, 0) < 0) return nullptr;
    // The library would answer calls of the other side, and keep the answers of one that does not read them.
    if (sd_bus_add_filter(bus, nullptr, &dropMessage, nullptr) < 0) return nullptr;
    if (sd_bus_start(bus) < 0) return nullptr;
    return connection;
}

std::unique_ptr<BusConnection> BusConnection::open(const std::string& address, BusKind kind,
                                                   Deadline deadline) {
    auto connection = begin(address, kind);
    if (!connection) return nullptr;
    while (connection->isOpening()) {
        const int moved = sd_bus_process(connection->bus_, nullptr);
        if (moved < 0 || deadline.passed()) return nullptr;
        if (moved > 0) continue;
        pollfd entry{connection->fd(), connection->pollEvents(), 0};
        waitFor({&entry, 1}, deadline.left());
    }
    return connection->isReady() ? std::move(connection) : nullptr;
}

BusConnection::~BusConnection() {
    // Closing drops the slots of unanswered calls without calling back.
    sd_bus_close(bus_);
    sd_bus_unref(bus_);
}

SdBusMessage BusConnection::newCall(const MethodCall& call) {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus_, &message, call.destination, call.path, call.interface,
                                       call.member) < 0) {
        return nullptr;
    }
    return SdBusMessage(message);
}

void BusConnection::call(SdBusMessage message, ReplyHandler handler) {
    queued_.emplace_back(std::move(message), std::move(handler));
}

void BusConnection::tell(SdBusMessage message) {
    serve();
    if (dead_ || !message || sd_bus_message_set_expect_reply(message.get(), 0) < 0) return;
    sd_bus_send(bus_, message.get(), nullptr);
    serve();
}

void BusConnection::sendQueued() {
    while (!dead_ && !queued_.empty() && inFlight_.size() < window) {
        auto [message, handler] = std::move(queued_.front());
        queued_.pop_front();
        inFlight_.push_back({this, std::move(handler), {}});
        Pending& pending = inFlight_.back();
        pending.self = std::prev(inFlight_.end());
        // Time limits are serveAll()'s: it sees all connections of a request at once.
        const bool sent =
            message && sd_bus_call_async(bus_, nullptr, message.get(), &onReply, &pending, UINT64_MAX) >= 0;
        if (sent) continue;
        const ReplyHandler refused = std::move(pending.handler);
        inFlight_.pop_back();
        refused(CallOutcome::refused, nullptr);
    }
}

int BusConnection::onReply(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    auto& pending = *static_cast<Pending*>(userdata);
    BusConnection& owner = *pending.owner;
    const ReplyHandler handler = std::move(pending.handler);
    owner.inFlight_.erase(pending.self);
    const sd_bus_error* error = sd_bus_message_get_error(reply);
    if (error == nullptr) {
        handler(CallOutcome::replied, reply);
    } else {
        handler(outcomeOf(error), nullptr);
    }
    return 1;
}

bool BusConnection::serve() {
    bool moved = false;
    for (int i = 0; i < servedAtOnce; ++i) {
        sendQueued();
        if (dead_) {
            failOutstanding();
            return true;
        }
        const int processed = sd_bus_process(bus_, nullptr);
        if (processed < 0) {
            failOutstanding();
            return true;
        }
        if (processed == 0) break;
        moved = true;
    }
    return moved;
}

std::size_t BusConnection::outstanding() const {
    return queued_.size() + inFlight_.size();
}

void BusConnection::failOutstanding() {
    // The library writes in order: what it has not written yet are the last of the calls.
    std::uint64_t unwritten = 0;
    if (dead_ || sd_bus_get_n_queued_write(bus_, &unwritten) < 0) unwritten = 0;
    if (!dead_) sd_bus_close(bus_);
    dead_ = true;
    // A handler may queue more calls; they fail in the same turn.
    while (!inFlight_.empty()) {
        const ReplyHandler handler = std::move(inFlight_.front().handler);
        const bool sent = inFlight_.size() > unwritten;
        inFlight_.pop_front();
        handler(sent ? CallOutcome::unanswered : CallOutcome::unsent, nullptr);
    }
    while (!queued_.empty()) {
        const ReplyHandler handler = std::move(queued_.front().second);
        queued_.pop_front();
        handler(CallOutcome::unsent, nullptr);
    }
}

bool BusConnection::isAlive() const {
    if (dead_ || sd_bus_is_open(bus_) <= 0) return false;
    pollfd entry{fd(), POLLIN, 0};
    return ::poll(&entry, 1, 0) >= 0 && (entry.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0;
}

int BusConnection::fd() const {
    return sd_bus_get_fd(bus_);
}

short BusConnection::pollEvents() const {
    const int events = sd_bus_get_events(bus_);
    return events < 0 ? short{0} : static_cast<short>(events);
}

SdBusMessage BusConnection::callAndWait(SdBusMessage message, Deadline deadline) {
    SdBusMessage answer;
    call(std::move(message), [&answer](CallOutcome outcome, sd_bus_message* reply) {
        if (outcome == CallOutcome::replied) answer.reset(sd_bus_message_ref(reply));
    });
    BusConnection* const self = this;
    serveAll({&self, 1}, deadline.left(), deadline);
    return answer;
}

void serveAll(std::span<BusConnection* const> connections, Deadline::Duration stallLimit, Deadline deadline) {
    Deadline stalled = Deadline::in(stallLimit);
    std::vector<pollfd> fds;
    while (true) {
        bool moved = false;
        for (BusConnection* connection : connections) {
            if (connection->isOpening()) connection->serve();
            if (connection->outstanding() > 0 && connection->serve()) moved = true;
        }
        // Looked at only now: what one connection brings may ask for more on another.
        fds.clear();
        bool waiting = false;
        for (const BusConnection* connection : connections) {
            const bool asked = connection->outstanding() > 0;
            waiting |= asked;
            if (!asked && !connection->isOpening()) continue;
            fds.push_back({connection->fd(), connection->pollEvents(), 0});
        }
        if (!waiting) return;
        if (moved) stalled = Deadline::in(stallLimit);
        if (deadline.passed() || stalled.passed()) {
            for (BusConnection* connection : connections) {
                if (connection->outstanding() > 0) connection->failOutstanding();
            }
            return;
        }
        if (!moved) waitFor(fds, earlier(deadline, stalled).left());
    }
}

}  // namespace varkel
