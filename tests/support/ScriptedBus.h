#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/FileDescriptor.h"

namespace varkel {

/// Writes values as D-Bus messages carry them, and whatever else a test wants there. Offsets count from the
/// start of the body.
class WireWriter {
  public:
    WireWriter& byte(std::uint8_t value);
    WireWriter& u32(std::uint32_t value) { return fixed(value); }
    /// Also an object path.
    WireWriter& text(std::string_view value);
    WireWriter& signature(std::string_view value);
    WireWriter& align(std::size_t boundary);
    /// "(so)".
    WireWriter& reference(std::string_view busName, std::string_view path);
    /// "au".
    WireWriter& words(const std::vector<std::uint32_t>& values);

    /// Begins an array whose elements are aligned to `boundary`; end() takes what this gives.
    struct Array {
        std::size_t lengthAt;
        std::size_t start;
    };
    Array array(std::size_t boundary);
    void end(Array begun);

    std::string take() && { return std::move(out_); }

  private:
    template <class Number>
    WireWriter& fixed(Number value) {
        align(sizeof value);
        out_.append(reinterpret_cast<const char*>(&value), sizeof value);
        return *this;
    }

    std::string out_;
};

/// A method call that came in.
struct ScriptedCall {
    std::string path;
    std::string member;
    std::string body;
    /// By which connection, counted from 0 in the order in which they came.
    std::size_t connection = 0;

    /// Whether it is for a property of this name, or has the name somewhere else in what it says.
    bool isAbout(std::string_view name) const { return body.find(name) != std::string::npos; }
};

/// The bus names and paths of objects.
using References = std::vector<std::pair<std::string, std::string>>;

struct ScriptedReply {
    enum class Kind {
        /// `body`, said to be of this signature, which need not be true.
        answer,
        /// An error whose name stands in the place of the signature.
        error,
        /// The end of the connection.
        hangUp,
    };
    Kind kind = Kind::error;
    std::string signature = "org.freedesktop.DBus.Error.UnknownMethod";
    std::string body;
    /// Followed by an error for the same call. A library drops an answer that is malformed without a word:
    /// with this, no caller waits in vain for it.
    bool mayBeMalformed = false;

    static ScriptedReply answer(std::string signature, WireWriter body) {
        return {Kind::answer, std::move(signature), std::move(body).take(), false};
    }
    static ScriptedReply text(std::string_view value) { return answer("s", WireWriter().text(value)); }
    static ScriptedReply number(std::uint32_t value) { return answer("u", WireWriter().u32(value)); }
    static ScriptedReply textProperty(std::string_view value) {
        return answer("v", WireWriter().signature("s").text(value));
    }
    static ScriptedReply numberProperty(std::size_t value) {
        return answer("v", WireWriter().signature("i").u32(static_cast<std::uint32_t>(value)));
    }
    static ScriptedReply references(const References& list);
    static ScriptedReply endOfConnection() { return {Kind::hangUp, "", "", false}; }
};

/// A message bus with one application on it, in a thread of this process, made for the accessibility backend:
/// every connection is both the bus and the application, and any byte may be in a reply.
class ScriptedBus {
  public:
    /// Called in the bus's thread, for every call but a connection's greeting.
    using Answer = std::function<ScriptedReply(const ScriptedCall& call)>;

    /// Makes this process's buses the accessibility bus that its environment names, and leaves it no other.
    /// Before anything looks at the environment.
    static void enterEnvironment();

    /// One at a time.
    explicit ScriptedBus(Answer answer);
    ~ScriptedBus();

    /// The bus's and the registry's own answers: the one application that there is, `:1.7` of this process,
    /// which can be reached directly where `direct`. Nothing for calls that are for the application.
    static std::optional<ScriptedReply> ownAnswer(const ScriptedCall& call, bool direct);

    /// Whether a connection that came has not ended yet, as far as has been seen. Any thread.
    bool isOpen(std::size_t connection);

  private:
    class Connection;

    void run();
    void acceptConnections();

    Answer answer_;
    FileDescriptor listener_;
    FileDescriptor wake_;
    std::atomic<bool> ends_ = false;
    std::vector<std::unique_ptr<Connection>> connections_;
    std::size_t accepted_ = 0;
    std::mutex mutex_;
    std::set<std::size_t> open_;
    std::thread thread_;
};

}  // namespace varkel
