#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "base/FileDescriptor.h"
#include "platform/linux/apps/LinuxWorkspace.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11WindowSystem.h"
#include "support/NoNewThreads.h"

namespace varkel {
namespace {

TEST(LinuxWorkspace, DoesNotTakeWhatItCannotTellForNoApplicationInFront) {
    AtspiBus bus;
    X11WindowSystem windows;
    LinuxWorkspace workspace(bus, windows);
    // Not connected to an X server yet.
    EXPECT_FALSE(workspace.frontmostApplicationIfKnown().has_value());
}

/// A socket that accepts callers and never says a word, like a server that was stopped.
class SilentSocket {
  public:
    /// In the file system, or where `abstract`, by a name that any user of the machine may take.
    SilentSocket(const std::string& path, bool abstract) : file_(abstract ? "" : path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::size_t offset = abstract ? 1 : 0;
        std::memcpy(address.sun_path + offset, path.data(), path.size());
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + offset + path.size());
        socket_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0) {
            file_.clear();
            socket_.reset();
        } else {
            listen(socket_.get(), 8);
        }
    }
    SilentSocket(const SilentSocket&) = delete;
    SilentSocket& operator=(const SilentSocket&) = delete;
    ~SilentSocket() {
        if (!file_.empty()) unlink(file_.c_str());
    }

    explicit operator bool() const { return static_cast<bool>(socket_); }

    bool wasCalled() const {
        pollfd entry{socket_.get(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }

  private:
    std::string file_;
    FileDescriptor socket_;
};

std::string socketOf(int display) {
    return std::string("/tmp/.X11-unix/X").append(std::to_string(display));
}

/// A display number whose server is silent.
class SilentServer {
  public:
    SilentServer() {
        for (number_ = 7000; number_ < 7100 && (!socket_ || !*socket_); ++number_) {
            socket_ = std::make_unique<SilentSocket>(socketOf(number_), true);
        }
        --number_;
    }

    std::string display() const { return std::string(":").append(std::to_string(number_)); }

  private:
    int number_ = 0;
    std::unique_ptr<SilentSocket> socket_;
};

TEST(X11Connection, GivesUpOnAServerThatDoesNotGreet) {
    const SilentServer server;
    X11Connection connection(server.display());
    for (int attempt = 0; attempt < 2; ++attempt) {
        const X11Connection::Session session(connection, std::chrono::milliseconds(50));
        EXPECT_FALSE(session);
    }
    // Nor is one asked whose deadline no thread can watch.
    const test::NoNewThreads shortage;
    EXPECT_NO_THROW(EXPECT_FALSE(X11Connection::Session(connection)));
}

TEST(X11Connection, FailsAtOnceWithoutAServer) {
    for (const char* display : {":6999", "nonsense", ":", "elsewhere.invalid:0"}) {
        X11Connection connection(display);
        const X11Connection::Session session(connection);
        EXPECT_FALSE(session) << display;
    }
}

TEST(X11Connection, PrefersTheSocketThatNoOtherUserCanTake) {
    for (int display = 7100; display < 7200; ++display) {
        const SilentSocket server(socketOf(display), false);
        const SilentSocket otherUsers(socketOf(display), true);
        if (!server || !otherUsers) continue;
        X11Connection connection(std::string(":").append(std::to_string(display)));
        const X11Connection::Session session(connection, std::chrono::milliseconds(50));
        EXPECT_TRUE(server.wasCalled());
        EXPECT_FALSE(otherUsers.wasCalled());
        return;
    }
    GTEST_SKIP() << "no socket can be made in /tmp/.X11-unix";
}

}  // namespace
}  // namespace varkel
