#include <gmock/gmock.h>

#include <mutex>

#include "platform/linux/atspi/AtspiSession.h"
#include "support/ScriptedBus.h"

namespace varkel {
namespace {

/// So many children of an object, none of them listed before, with paths that are so much longer.
References fresh(const std::string& path, std::size_t count, std::size_t longer = 0) {
    References list;
    for (std::size_t i = 0; i < count; ++i) {
        list.emplace_back(":1.7", path + "/" + std::to_string(i) + std::string(longer, 'x'));
    }
    return list;
}

/// Each child of an object in a process of its own.
References scattered(std::size_t count) {
    References list;
    for (std::size_t i = 0; i < count; ++i) list.emplace_back(":2." + std::to_string(i), "/child");
    return list;
}

TEST(AtspiSession, HoldsAsMuchOfAnApplicationAsItMayAndNoMore) {
    const auto isRoot = [](const std::string& path) { return path == "/application"; };
    const struct {
        const char* what;
        std::function<References(const std::string& path)> listOf;
        std::size_t atLeast, atMost;
    } cases[] = {
        {"a list", [&](const std::string& path) { return fresh(path, isRoot(path) ? 3 : 0); }, 3, 3},
        {"objects", [&](const std::string& path) { return fresh(path, isRoot(path) ? 120 : 5000); }, 250'000,
         500'000},
        // 2,400 paths of 60,000 bytes, each of which is kept twice: more than the 256 MiB that there are.
        {"paths",
         [&](const std::string& path) { return isRoot(path) ? fresh(path, 24) : fresh(path, 100, 60'000); },
         2000, 2400},
        {"processes", [&](const std::string& path) { return isRoot(path) ? scattered(4000) : References(); },
         64, 256},
    };
    for (const auto& [what, listOf, atLeast, atMost] : cases) {
        for (const bool direct : {false, true}) {
            if (atMost > 1000 && !direct) continue;
            ScriptedBus bus([&, &listOf = listOf](const ScriptedCall& call) -> ScriptedReply {
                if (auto own = ScriptedBus::ownAnswer(call, direct)) return *own;
                return call.member == "GetChildren" ? ScriptedReply::references(listOf(call.path))
                                                    : ScriptedReply();
            });
            AtspiBus atspi;
            AtspiSession session(atspi, ::getpid());
            std::size_t count = 0;
            session.load(AtspiSession::rootNode, AtspiPart::children);
            const std::vector<std::uint32_t> found = session.node(AtspiSession::rootNode).children;
            for (const std::uint32_t child : found) {
                session.load(child, AtspiPart::children);
                count += std::max<std::size_t>(session.node(child).children.size(), 1);
            }
            EXPECT_GE(count, atLeast) << what;
            EXPECT_LE(count, atMost) << what;
        }
    }
}

TEST(AtspiSession, IsAlwaysKnownToAnApplicationByAConnectionThatStays) {
    std::mutex mutex;
    std::set<std::size_t> known;
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (call.member == "GetApplicationBusAddress") {
            const std::lock_guard lock(mutex);
            known.insert(call.connection);
        }
        if (auto own = ScriptedBus::ownAnswer(call, true)) return *own;
        return ScriptedReply::endOfConnection();
    });
    AtspiBus atspi;
    const auto ask = [&] {
        const auto lease = atspi.lease(Deadline::in(callLimit));
        ASSERT_TRUE(lease);
        const auto opened =
            atspi.connectToPeer(**lease, {{":1.7", "/application"}, ::getpid()}, Deadline::in(callLimit));
        EXPECT_TRUE(opened.connection);
        // The connection that has asked ends.
        (*lease)->callAndWait((*lease)->newCall({":1.7", "/application", "a.b", "End"}),
                              Deadline::in(callLimit));
        EXPECT_FALSE((*lease)->isAlive());
    };
    ask();
    // What the first one's end brings about has been seen before the second one is answered.
    ask();
    const std::lock_guard lock(mutex);
    EXPECT_TRUE(std::ranges::any_of(known, [&](std::size_t each) { return bus.isOpen(each); }));
}

TEST(AtspiSession, IsOneOfSoManyWithAConnectionOfTheirOwn) {
    std::atomic<bool> isReachable = false;
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (auto own = ScriptedBus::ownAnswer(call, isReachable)) return *own;
        return call.member == "GetRole" ? ScriptedReply::number(7) : ScriptedReply();
    });
    AtspiBus atspi;
    const auto lease = atspi.lease(Deadline::in(callLimit));
    ASSERT_TRUE(lease);
    const auto connect = [&] {
        return atspi.connectToPeer(**lease, {{":1.7", "/application"}, ::getpid()}, Deadline::in(callLimit))
            .connection;
    };
    for (std::size_t i = 0; i < 2 * PeerConnectionPool::perApplication; ++i) ASSERT_FALSE(connect());
    isReachable = true;
    std::vector<std::unique_ptr<BusConnection>> connections;
    for (std::size_t i = 0; i < PeerConnectionPool::perApplication; ++i) {
        connections.push_back(connect());
        ASSERT_TRUE(connections.back()) << i;
    }
    EXPECT_FALSE(connect());
    EXPECT_TRUE(AtspiSession(atspi, ::getpid()).load(AtspiSession::rootNode, AtspiPart::role))
        << "by the bus";
    // One that has failed makes room for another.
    atspi.peerConnections().release({::getpid(), ":1.7"}, nullptr);
    EXPECT_TRUE(connect());
    EXPECT_FALSE(connect());
}

TEST(AtspiSession, ReachesNoOtherApplicationOverAKeptConnection) {
    // A process may end while another process holds its sockets open, and its number go to the next
    // application.
    std::atomic<const char*> name = ":1.7";
    std::atomic<int> addressesAsked = 0;
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (call.member == "GetChildren" && call.path == "/org/a11y/atspi/accessible/root")
            return ScriptedReply::references({{name.load(), "/application"}});
        if (call.member == "GetApplicationBusAddress") ++addressesAsked;
        if (auto own = ScriptedBus::ownAnswer(call, true)) return *own;
        return call.member == "GetRole" ? ScriptedReply::number(7) : ScriptedReply();
    });
    AtspiBus atspi;
    const auto read = [&] {
        return AtspiSession(atspi, ::getpid()).load(AtspiSession::rootNode, AtspiPart::role);
    };
    EXPECT_TRUE(read());
    const int asked = addressesAsked;
    EXPECT_TRUE(read());
    EXPECT_EQ(addressesAsked, asked);
    name = ":1.9";
    EXPECT_TRUE(read());
    EXPECT_GT(addressesAsked, asked);
}

}  // namespace
}  // namespace varkel
