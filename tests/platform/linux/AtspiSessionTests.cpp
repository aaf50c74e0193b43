#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <string>

#include "platform/linux/AtspiSession.h"
#include "support/ScriptedBus.h"

namespace varkel {
namespace {

const bool entered = [] {
    ScriptedBus::enterEnvironment();
    return true;
}();

/// A list of children that begins with one per entry of `names`.
ScriptedReply children(std::size_t count,
                       const std::function<std::pair<std::string, std::string>(std::size_t)>& child) {
    WireWriter body;
    const auto list = body.array(8);
    for (std::size_t i = 0; i < count; ++i) {
        const auto [busName, path] = child(i);
        body.reference(busName, path);
    }
    body.end(list);
    return ScriptedReply::answer("a(so)", std::move(body));
}

constexpr PrefetchScope everything{1000, 1024, 250'000};

TEST(AtspiSession, ReadsAChildList) {
    for (const bool direct : {false, true}) {
        ScriptedBus bus([direct](const ScriptedCall& call) -> ScriptedReply {
            if (auto own = ScriptedBus::ownAnswer(call, direct)) return *own;
            if (call.member != "GetChildren" || call.path != "/application") return {};
            return children(3,
                            [](std::size_t i) { return std::pair(":1.7", "/child/" + std::to_string(i)); });
        });
        AtspiBus atspi;
        AtspiSession session(atspi, ::getpid());
        ASSERT_TRUE(session.load(AtspiSession::rootNode, AtspiPart::children));
        EXPECT_EQ(session.node(AtspiSession::rootNode).children.size(), 3u);
    }
}

TEST(AtspiSession, KeepsNoMoreObjectsThanATreeMayHave) {
    constexpr std::size_t lists = 120;
    ScriptedBus bus([](const ScriptedCall& call) -> ScriptedReply {
        if (auto own = ScriptedBus::ownAnswer(call, true)) return *own;
        if (call.member != "GetChildren") return {};
        // All that one list may hold, and none of it listed before.
        const std::size_t count = call.path == "/application" ? lists : 5000;
        return children(
            count, [&](std::size_t i) { return std::pair(":1.7", call.path + "/" + std::to_string(i)); });
    });
    AtspiBus atspi;
    AtspiSession session(atspi, ::getpid());
    ASSERT_TRUE(session.load(AtspiSession::rootNode, AtspiPart::children));
    std::size_t listed = 0;
    for (const std::uint32_t child : session.node(AtspiSession::rootNode).children) {
        session.load(child, AtspiPart::children);
        listed += session.node(child).children.size();
    }
    EXPECT_GE(listed, everything.maxElements);
    EXPECT_LE(listed, 2 * everything.maxElements);
}

TEST(AtspiSession, KeepsNoMoreTextOfPathsThanOfTexts) {
    // 2,400 paths of 60,000 bytes, each of which is kept twice: more than the 256 MiB that there are.
    constexpr std::size_t lists = 24;
    ScriptedBus bus([](const ScriptedCall& call) -> ScriptedReply {
        if (auto own = ScriptedBus::ownAnswer(call, true)) return *own;
        if (call.member != "GetChildren") return {};
        const bool isRoot = call.path == "/application";
        return children(isRoot ? lists : 100, [&](std::size_t i) {
            return std::pair(":1.7",
                             call.path + "/" + std::to_string(i) + std::string(isRoot ? 0 : 60'000, 'x'));
        });
    });
    AtspiBus atspi;
    AtspiSession session(atspi, ::getpid());
    ASSERT_TRUE(session.load(AtspiSession::rootNode, AtspiPart::children));
    std::size_t listed = 0;
    for (const std::uint32_t child : session.node(AtspiSession::rootNode).children) {
        session.load(child, AtspiPart::children);
        listed += session.node(child).children.size();
    }
    EXPECT_GE(listed, 2000u);
    EXPECT_LT(listed, 2400u);
}

TEST(AtspiSession, FollowsAnApplicationIntoAFewOtherProcesses) {
    ScriptedBus bus([](const ScriptedCall& call) -> ScriptedReply {
        if (auto own = ScriptedBus::ownAnswer(call, true)) return *own;
        if (call.member != "GetChildren") return {};
        return children(4000, [](std::size_t i) { return std::pair(":2." + std::to_string(i), "/child"); });
    });
    AtspiBus atspi;
    AtspiSession session(atspi, ::getpid());
    ASSERT_TRUE(session.load(AtspiSession::rootNode, AtspiPart::children));
    const std::size_t count = session.node(AtspiSession::rootNode).children.size();
    EXPECT_GE(count, 64u);
    EXPECT_LE(count, 256u);
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
        return {ScriptedReply::Kind::hangUp, "", "", false};
    });
    AtspiBus atspi;
    const auto ask = [&] {
        const auto lease = atspi.lease(Deadline::in(callLimit));
        ASSERT_TRUE(lease);
        const auto line =
            atspi.connectDirectly(**lease, {{":1.7", "/application"}, ::getpid()}, Deadline::in(callLimit));
        EXPECT_TRUE(line.connection);
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

TEST(AtspiSession, ReachesNoOtherApplicationOverAKeptConnection) {
    // A process may end while somebody else holds its sockets open, and its number go to the next
    // application.
    std::atomic<const char*> name = ":1.7";
    std::atomic<int> addressesAsked = 0;
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (call.member == "GetChildren" && call.path == "/org/a11y/atspi/accessible/root")
            return children(1, [&](std::size_t) { return std::pair(name.load(), "/application"); });
        if (call.member == "GetApplicationBusAddress") ++addressesAsked;
        if (auto own = ScriptedBus::ownAnswer(call, true)) return *own;
        if (call.member != "GetRole") return {};
        return ScriptedReply::answer("u", WireWriter().u32(7));
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
