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

TEST(Strangers, ShareWhatTheyMayHold) {
    Strangers all(10);
    Strangers::Place greedy(all, [] {});
    EXPECT_TRUE(greedy.hold(Strangers::sharedBytes + Strangers::freeBytes));
    {
        Strangers::Place other(all, [] {});
        EXPECT_TRUE(other.hold(Strangers::freeBytes)) << "a usual head always fits";
        EXPECT_FALSE(other.hold(Strangers::freeBytes + 1));
        EXPECT_TRUE(greedy.hold(Strangers::freeBytes + Strangers::sharedBytes / 2));
        EXPECT_TRUE(other.hold(Strangers::freeBytes + Strangers::sharedBytes / 2));
        EXPECT_FALSE(greedy.hold(Strangers::freeBytes + Strangers::sharedBytes / 2 + 1));
    }
    EXPECT_TRUE(greedy.hold(Strangers::sharedBytes)) << "what has ended holds nothing";
}

}  // namespace
}  // namespace varkel
