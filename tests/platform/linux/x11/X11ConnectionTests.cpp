#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include "platform/linux/apps/LinuxWorkspace.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11WindowSystem.h"
#include "support/LocalSocket.h"
#include "support/NoNewThreads.h"

namespace varkel::test {
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
    SilentSocket(const std::string& path, bool abstract)
        : socket_(listenLocally(path, abstract)), file_(abstract || !socket_ ? "" : path) {}
    ~SilentSocket() {
        if (!file_.empty()) unlink(file_.c_str());
    }
    explicit operator bool() const { return static_cast<bool>(socket_); }

    bool wasCalled() const {
        pollfd entry{socket_.get(), POLLIN, 0};
        return poll(&entry, 1, 0) == 1;
    }

  private:
    FileDescriptor socket_;
    std::string file_;
};

std::string socketOf(int display) {
    return std::string("/tmp/.X11-unix/X").append(std::to_string(display));
}

/// The numbers of displays that tests may take.
std::string displayOf(int number) {
    return std::string(":").append(std::to_string(number));
}

TEST(X11Connection, GivesUpOnAServerThatDoesNotGreet) {
    int number = 7000;
    auto server = std::make_unique<SilentSocket>(socketOf(number), true);
    while (!*server && number < 7100) server = std::make_unique<SilentSocket>(socketOf(++number), true);
    X11Connection connection(displayOf(number));
    for (int attempt = 0; attempt < 2; ++attempt) {
        const X11Connection::Session session(connection, std::chrono::milliseconds(50));
        EXPECT_FALSE(session);
    }
    // Nor is one asked whose deadline no thread can watch.
    const NoNewThreads shortage;
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
        X11Connection connection(displayOf(display));
        const X11Connection::Session session(connection, std::chrono::milliseconds(50));
        EXPECT_TRUE(server.wasCalled());
        EXPECT_FALSE(otherUsers.wasCalled());
        return;
    }
    GTEST_SKIP() << "no socket can be made in /tmp/.X11-unix";
}

}  // namespace
}  // namespace varkel::test
