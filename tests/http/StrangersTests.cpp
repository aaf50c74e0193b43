#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "http/Strangers.h"

namespace varkel {
namespace {

TEST(Strangers, CloseTheFirstWhenThereAreTooMany) {
    Strangers all(2);
    std::string closed;
    std::vector<std::unique_ptr<Strangers::Place>> places;
    const auto come = [&](char name) {
        places.push_back(std::make_unique<Strangers::Place>(all, [&closed, name] { closed += name; }));
    };
    come('a');
    come('b');
    places[0].reset();
    come('c');
    EXPECT_EQ(closed, "") << "who has shown the token does not count";
    come('d');
    come('e');
    EXPECT_EQ(closed, "bc");
    EXPECT_EQ(all.count(), 2U);
    EXPECT_TRUE(places[1]->hold(Strangers::sharedBytes * 2)) << "one that is being closed holds nothing";
    places.clear();
    EXPECT_EQ(all.count(), 0U);
}

TEST(Strangers, CloseTheOneThatHasHeldALongHeadForLongest) {
    Strangers all(10);
    std::string closed;
    const auto closing = [&](char name) { return [&closed, name] { closed += name; }; };
    constexpr std::size_t half = Strangers::sharedBytes / 2;
    constexpr std::size_t usual = Strangers::freeBytes;
    Strangers::Place small(all, closing('s'));
    Strangers::Place first(all, closing('1'));
    Strangers::Place second(all, closing('2'));
    Strangers::Place third(all, closing('3'));
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

}  // namespace
}  // namespace varkel
