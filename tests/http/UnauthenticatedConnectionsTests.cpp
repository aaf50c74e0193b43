#include <gtest/gtest.h>

#include "http/UnauthenticatedConnections.h"

namespace varkel {

TEST(UnauthenticatedConnections, CloseTheFirstWhenThereAreTooMany) {
    UnauthenticatedConnections all(2);
    std::string closed;
    std::vector<std::unique_ptr<UnauthenticatedConnections::Slot>> slots;
    const auto come = [&](char name) {
        slots.push_back(
            std::make_unique<UnauthenticatedConnections::Slot>(all, [&closed, name] { closed += name; }));
    };
    come('a');
    come('b');
    slots[0].reset();
    come('c');
    EXPECT_EQ(closed, "") << "who has shown the token does not count";
    come('d');
    come('e');
    EXPECT_EQ(closed, "bc");
    EXPECT_EQ(all.count(), 2U);
    EXPECT_TRUE(slots[1]->hold(UnauthenticatedConnections::sharedBytes * 2))
        << "one that is being closed holds nothing";
    slots.clear();
    EXPECT_EQ(all.count(), 0U);
}

TEST(UnauthenticatedConnections, CloseTheOneThatHasHeldALongHeadForLongest) {
    UnauthenticatedConnections all(10);
    std::string closed;
    const auto closing = [&](char name) { return [&closed, name] { closed += name; }; };
    constexpr std::size_t half = UnauthenticatedConnections::sharedBytes / 2;
    constexpr std::size_t usual = UnauthenticatedConnections::freeBytes;
    UnauthenticatedConnections::Slot small(all, closing('s'));
    UnauthenticatedConnections::Slot first(all, closing('1'));
    UnauthenticatedConnections::Slot second(all, closing('2'));
    UnauthenticatedConnections::Slot third(all, closing('3'));
    EXPECT_TRUE(second.hold(usual + half));
    EXPECT_TRUE(first.hold(usual + half));
    EXPECT_TRUE(small.hold(usual)) << "a usual head always fits";
    EXPECT_EQ(closed, "");
    EXPECT_TRUE(third.hold(usual + 1));
    EXPECT_EQ(closed, "2");
    EXPECT_TRUE(first.hold(usual));
    EXPECT_TRUE(first.hold(usual + half));
    EXPECT_FALSE(third.hold(usual + half + 1)) << "it is the first one now";
    EXPECT_EQ(closed, "23");
    EXPECT_TRUE(small.hold(usual + half)) << "what has ended holds nothing";
    EXPECT_EQ(closed, "23");
}

}  // namespace varkel
