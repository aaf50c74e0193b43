// What a connection takes from the other side besides answers.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "platform/linux/atspi/SdBus.h"
#include "support/LocalSocket.h"
#include "support/Processes.h"
#include "support/ScriptedBus.h"

namespace varkel::test {
namespace {

/// A connection to a process that a test plays by hand, in the same thread.
class HandPlayedPeer {
  public:
    HandPlayedPeer() {
        const std::string name = "varkel-hand-played-peer-" + std::to_string(::getpid());
        const FileDescriptor listener = listenLocally(name);
        if (!listener) return;
        connection = BusConnection::begin("unix:abstract=" + name, BusKind::peer);
        socket_.reset(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        greet();
    }

    /// Sends bytes, and descriptors with the first of them. False when the other side takes no more.
    bool send(std::string bytes, std::size_t descriptors = 0) {
        const FileDescriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        const std::vector<int> copies(descriptors, null.get());
        std::vector<std::max_align_t> room(CMSG_SPACE(descriptors * sizeof(int)) / sizeof(std::max_align_t) +
                                           1);
        iovec part{bytes.data(), bytes.size()};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (descriptors > 0) {
            message.msg_control = room.data();
            message.msg_controllen = CMSG_SPACE(descriptors * sizeof(int));
            cmsghdr* head = CMSG_FIRSTHDR(&message);
            head->cmsg_level = SOL_SOCKET;
            head->cmsg_type = SCM_RIGHTS;
            head->cmsg_len = CMSG_LEN(descriptors * sizeof(int));
            std::memcpy(CMSG_DATA(head), copies.data(), descriptors * sizeof(int));
        }
        return ::sendmsg(socket_.get(), &message, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
    }

    /// Everything that has come.
    std::string received() {
        std::string bytes;
        char buffer[65536];
        for (;;) {
            const ssize_t count = ::recv(socket_.get(), buffer, sizeof buffer, MSG_DONTWAIT);
            if (count <= 0) return bytes;
            bytes.append(buffer, static_cast<std::size_t>(count));
        }
    }

    std::unique_ptr<BusConnection> connection;

  private:
    void greet() {
        std::string lines;
        for (int turn = 0; turn < 100 && lines.find("BEGIN\r\n") == std::string::npos; ++turn) {
            connection->serve();
            lines += received();
        }
        send("DATA\r\nOK 0123456789abcdef0123456789abcdef\r\n");
        if (lines.find("NEGOTIATE_UNIX_FD") != std::string::npos) send("AGREE_UNIX_FD\r\n");
        connection->serve();
    }

    FileDescriptor socket_;
};

std::string callFromPeer(std::string_view interface, std::string_view member) {
    constexpr std::uint8_t methodCall = 1;
    WireWriter header;
    header.byte('l').byte(methodCall).byte(0).byte(1).u32(0).u32(1);
    const auto fields = header.array(8);
    header.align(8).byte(1).signature("o").text("/");
    header.align(8).byte(2).signature("s").text(interface);
    header.align(8).byte(3).signature("s").text(member);
    header.end(fields);
    header.align(8);
    return std::move(header).take();
}

TEST(BusConnection, QueuesNoAnswersForAnApplicationThatAsksAndDoesNotRead) {
    HandPlayedPeer peer;
    ASSERT_TRUE(peer.connection && peer.connection->isReady());
    for (const char* interface : {"org.freedesktop.DBus.Peer", "org.example.Unknown"}) {
        for (int i = 0; i < 100; ++i) {
            ASSERT_TRUE(peer.send(callFromPeer(interface, "Ping")));
            peer.connection->serve();
        }
    }
    EXPECT_TRUE(peer.connection->isAlive());
    EXPECT_EQ(peer.received().size(), 0u);
}

TEST(BusConnection, TakesNoDescriptorsFromAnApplication) {
    HandPlayedPeer peer;
    ASSERT_TRUE(peer.connection && peer.connection->isReady());
    const std::size_t before = openDescriptors();
    // Bytes of one message that does not end, so that nothing throws the descriptors away.
    const std::string call = callFromPeer("org.example.Unknown", "Take");
    for (const char byte : call.substr(0, 16)) {
        peer.send(std::string(1, byte), 50);
        peer.connection->serve();
    }
    EXPECT_LE(openDescriptors(), before);
}

TEST(BusConnection, TellsCallsThatNeverLeftFromThoseThatMayHaveBeenObeyed) {
    HandPlayedPeer peer;
    ASSERT_TRUE(peer.connection && peer.connection->isReady());
    // The first is small; the second is more than a socket takes; the third has to wait for it.
    std::vector<CallOutcome> outcomes;
    for (const std::size_t size : {std::size_t{1}, std::size_t{64} << 20, std::size_t{1}}) {
        SdBusMessage call = peer.connection->newCall({nullptr, "/", "org.example.Text", "Set"});
        ASSERT_GE(sd_bus_message_append(call.get(), "s", std::string(size, 'x').c_str()), 0);
        peer.connection->call(std::move(call),
                              [&](CallOutcome outcome, sd_bus_message*) { outcomes.push_back(outcome); });
    }
    peer.connection->serve();
    peer.connection->failOutstanding();
    using enum CallOutcome;
    EXPECT_EQ(outcomes, (std::vector{unanswered, unsent, unsent}));
}

}  // namespace
}  // namespace varkel::test
