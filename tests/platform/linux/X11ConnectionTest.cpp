#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

#include "platform/FileDescriptor.h"
#include "platform/linux/X11Connection.h"

namespace varkel {
namespace {

/// A display number whose server accepts callers and never says a word, like one that was stopped.
class SilentServer {
  public:
    SilentServer() {
        for (number_ = 7000; number_ < 7100; ++number_) {
            socket_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
            std::string path = "/tmp/.X11-unix/X";
            path += std::to_string(number_);
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::memcpy(address.sun_path + 1, path.data(), path.size());
            const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + path.size());
            if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), length) == 0) break;
        }
        listen(socket_.get(), 8);
    }

    std::string display() const { return std::string(":").append(std::to_string(number_)); }

  private:
    int number_ = 0;
    FileDescriptor socket_;
};

TEST(X11Connection, GivesUpOnAServerThatDoesNotGreet) {
    const SilentServer server;
    X11Connection connection(server.display());
    for (int attempt = 0; attempt < 2; ++attempt) {
        const X11Connection::Session session(connection, std::chrono::milliseconds(50));
        EXPECT_FALSE(session);
    }
}

TEST(X11Connection, FailsAtOnceWithoutAServer) {
    for (const char* display : {":6999", "nonsense", ":", "elsewhere.invalid:0"}) {
        X11Connection connection(display);
        const X11Connection::Session session(connection);
        EXPECT_FALSE(session) << display;
    }
}

TEST(X11Connection, ASecondSessionWaitsNoLongerThanItsOwnDeadline) {
    X11Connection connection(":6999");
    const X11Connection::Session first(connection);
    std::thread([&connection] {
        const X11Connection::Session second(connection, std::chrono::milliseconds(20));
        EXPECT_FALSE(second);
    }).join();
}

}  // namespace
}  // namespace varkel
