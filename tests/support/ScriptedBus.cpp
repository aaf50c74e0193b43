#include "support/ScriptedBus.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "support/LocalSocket.h"

namespace varkel {

namespace {

// Kinds of messages, and of fields in their headers.
constexpr std::uint8_t methodCall = 1, methodReturn = 2, errorReply = 3;
constexpr std::uint8_t pathField = 1, memberField = 3, errorNameField = 4;
constexpr std::uint8_t replySerialField = 5, senderField = 7, signatureField = 8;

constexpr std::size_t fixedHeader = 16;

std::size_t padded(std::size_t size, std::size_t boundary) {
    return (size + boundary - 1) / boundary * boundary;
}

std::uint32_t readU32(std::string_view bytes, std::size_t at) {
    std::uint32_t value = 0;
    if (at + sizeof value <= bytes.size()) std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

/// The texts of a header's fields. What comes in was written by the library under test, and is taken as well
/// formed.
ScriptedCall readHeader(std::string_view header) {
    ScriptedCall call;
    std::size_t at = fixedHeader;
    const std::size_t end = fixedHeader + readU32(header, 12);
    while (at + 8 <= end && end <= header.size()) {
        const auto field = static_cast<std::uint8_t>(header[at]);
        const char type = header[at + 2];
        at += 4;
        if (type == 'g') {
            at = padded(at + 2 + static_cast<std::uint8_t>(header[at]), 8);
            continue;
        }
        const std::uint32_t value = readU32(header, at);
        at += 4;
        if (type == 'u') {
            at = padded(at, 8);
            continue;
        }
        const std::string_view text = header.substr(at, value);
        at = padded(at + value + 1, 8);
        if (field == pathField) call.path = text;
        if (field == memberField) call.member = text;
    }
    return call;
}

std::string message(std::uint32_t serial, std::uint32_t replyTo, const ScriptedReply& reply) {
    const bool isError = reply.kind == ScriptedReply::Kind::error;
    const std::string_view body = isError ? std::string_view() : std::string_view(reply.body);
    WireWriter header;
    header.byte('l').byte(isError ? errorReply : methodReturn).byte(1).byte(1);
    header.u32(static_cast<std::uint32_t>(body.size())).u32(serial);
    const auto fields = header.array(8);
    header.align(8).byte(replySerialField).signature("u").u32(replyTo);
    header.align(8).byte(senderField).signature("s").text(":1.7");
    if (isError) {
        header.align(8).byte(errorNameField).signature("s").text(reply.signature);
    } else if (!reply.signature.empty()) {
        header.align(8).byte(signatureField).signature("g").signature(reply.signature);
    }
    header.end(fields);
    header.align(8);
    return std::move(header).take().append(body);
}

std::string socketName() {
    return "varkel-scripted-bus-" + std::to_string(::getpid());
}

}  // namespace

WireWriter& WireWriter::byte(std::uint8_t value) {
    out_ += static_cast<char>(value);
    return *this;
}

WireWriter& WireWriter::align(std::size_t boundary) {
    out_.resize(padded(out_.size(), boundary));
    return *this;
}

WireWriter& WireWriter::text(std::string_view value) {
    u32(static_cast<std::uint32_t>(value.size()));
    out_.append(value);
    return byte(0);
}

WireWriter& WireWriter::signature(std::string_view value) {
    byte(static_cast<std::uint8_t>(value.size()));
    out_.append(value.substr(0, 255));
    return byte(0);
}

WireWriter& WireWriter::reference(std::string_view busName, std::string_view path) {
    return align(8).text(busName).text(path);
}

WireWriter& WireWriter::words(const std::vector<std::uint32_t>& values) {
    const auto begun = array(4);
    for (const std::uint32_t value : values) u32(value);
    end(begun);
    return *this;
}

ScriptedReply ScriptedReply::references(const References& list) {
    WireWriter body;
    const auto begun = body.array(8);
    for (const auto& [busName, path] : list) body.reference(busName, path);
    body.end(begun);
    return answer("a(so)", std::move(body));
}

WireWriter::Array WireWriter::array(std::size_t boundary) {
    u32(0);
    const std::size_t lengthAt = out_.size() - 4;
    align(boundary);
    return {lengthAt, out_.size()};
}

void WireWriter::end(Array begun) {
    const auto length = static_cast<std::uint32_t>(out_.size() - begun.start);
    std::memcpy(out_.data() + begun.lengthAt, &length, sizeof length);
}

/// One connection: first the lines of the authentication, then messages.
class ScriptedBus::Connection {
  public:
    Connection(int socket, std::size_t number, const Answer& answer)
        : socket_(socket), number_(number), answer_(answer) {}

    std::size_t number() const { return number_; }

    pollfd entry() const {
        const bool writes = !out_.empty();
        return {socket_.get(), static_cast<short>(writes ? POLLIN | POLLOUT : POLLIN), 0};
    }

    /// Returns whether the connection goes on.
    bool serve() {
        if (!receive()) return false;
        while (!ended_ && (speaks_ ? takeMessage() : takeGreeting())) continue;
        return flush() && !ended_;
    }

  private:
    bool receive() {
        char bytes[65536];
        const ssize_t count = ::recv(socket_.get(), bytes, sizeof bytes, MSG_DONTWAIT);
        if (count > 0) in_.append(bytes, static_cast<std::size_t>(count));
        return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
    }

    bool flush() {
        while (sent_ < out_.size()) {
            const ssize_t count =
                ::send(socket_.get(), out_.data() + sent_, out_.size() - sent_, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count < 0) return errno == EAGAIN || errno == EINTR;
            sent_ += static_cast<std::size_t>(count);
        }
        out_.clear();
        sent_ = 0;
        return true;
    }

    /// The library says all of it at once, without waiting for answers.
    bool takeGreeting() {
        const std::size_t end = in_.find("BEGIN\r\n");
        if (end == std::string::npos) return false;
        out_ += "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\n";
        if (in_.find("NEGOTIATE_UNIX_FD") < end) out_ += "AGREE_UNIX_FD\r\n";
        in_.erase(0, in_.find('\n', end) + 1);
        return speaks_ = true;
    }

    bool takeMessage() {
        const std::string_view bytes = std::string_view(in_).substr(taken_);
        const std::size_t header = padded(fixedHeader + readU32(bytes, 12), 8);
        const std::size_t size = header + readU32(bytes, 4);
        if (bytes.size() < fixedHeader || bytes.size() < size) {
            in_.erase(0, std::exchange(taken_, 0));
            return false;
        }
        if (static_cast<std::uint8_t>(bytes[1]) == methodCall) {
            ScriptedCall call = readHeader(bytes.substr(0, header));
            call.body = bytes.substr(header, size - header);
            call.connection = number_;
            reply(call, readU32(bytes, 8));
        }
        taken_ += size;
        return true;
    }

    void reply(const ScriptedCall& call, std::uint32_t serial) {
        const ScriptedReply made = call.member == "Hello" ? ScriptedReply::text(":1.1") : answer_(call);
        if (made.kind == ScriptedReply::Kind::hangUp) {
            ended_ = true;
        } else {
            out_ += message(++serial_, serial, made);
            if (made.mayBeMalformed) out_ += message(++serial_, serial, {});
        }
    }

    const FileDescriptor socket_;
    const std::size_t number_;
    const Answer& answer_;
    std::string in_;
    std::size_t taken_ = 0;
    std::string out_;
    std::size_t sent_ = 0;
    std::uint32_t serial_ = 0;
    bool speaks_ = false;
    bool ended_ = false;
};

void ScriptedBus::enterEnvironment() {
    ::setenv("AT_SPI_BUS_ADDRESS", ("unix:abstract=" + socketName()).c_str(), 1);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::unsetenv("XDG_RUNTIME_DIR");
}

ScriptedBus::ScriptedBus(Answer answer)
    : answer_(std::move(answer)),
      listener_(test::listenLocally(socketName())),
      wake_(::eventfd(0, EFD_CLOEXEC)) {
    if (!listener_) throw std::runtime_error("no socket for a scripted bus");
    ::fcntl(listener_.get(), F_SETFL, O_NONBLOCK);
    thread_ = std::thread([this] { run(); });
}

ScriptedBus::~ScriptedBus() {
    ends_ = true;
    ::eventfd_write(wake_.get(), 1);
    thread_.join();
}

void ScriptedBus::run() {
    std::vector<pollfd> entries;
    while (!ends_) {
        entries = {{wake_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
        for (const auto& connection : connections_) entries.push_back(connection->entry());
        ::poll(entries.data(), entries.size(), -1);
        // In their order, so that an answer does not depend on who was quicker.
        std::erase_if(connections_, [this](const auto& connection) {
            if (connection->serve()) return false;
            const std::lock_guard lock(mutex_);
            open_.erase(connection->number());
            return true;
        });
        if (entries[1].revents != 0) acceptConnections();
    }
    connections_.clear();
}

void ScriptedBus::acceptConnections() {
    for (;;) {
        const int socket = ::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket < 0) return;
        connections_.push_back(std::make_unique<Connection>(socket, accepted_, answer_));
        const std::lock_guard lock(mutex_);
        open_.insert(accepted_++);
    }
}

bool ScriptedBus::isOpen(std::size_t connection) {
    const std::lock_guard lock(mutex_);
    return open_.contains(connection);
}

std::optional<ScriptedReply> ScriptedBus::ownAnswer(const ScriptedCall& call, bool direct) {
    constexpr std::string_view registryRoot = "/org/a11y/atspi/accessible/root";
    if (call.member == "GetConnectionUnixProcessID") {
        return ScriptedReply::number(static_cast<std::uint32_t>(::getpid()));
    }
    if (call.member == "GetApplicationBusAddress") {
        return direct ? ScriptedReply::text("unix:abstract=" + socketName()) : ScriptedReply();
    }
    if (call.member != "GetChildren" || call.path != registryRoot) return std::nullopt;
    return ScriptedReply::references({{":1.7", "/application"}});
}

}  // namespace varkel
