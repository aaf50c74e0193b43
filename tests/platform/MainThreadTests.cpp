#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

#include "base/MainThread.h"

namespace varkel {
namespace {

TEST(MainThread, RunsWorkOfOtherThreads) {
    const auto home = std::this_thread::get_id();
    std::vector<int> order;
    std::thread other([&] {
        EXPECT_FALSE(MainThread::isCurrent());
        MainThread::post([&] { order.push_back(1); });
        MainThread::sync([&] {
            EXPECT_TRUE(MainThread::isCurrent());
            EXPECT_EQ(std::this_thread::get_id(), home);
            MainThread::sync([&] { order.push_back(2); });
        });
        EXPECT_THROW(MainThread::sync([] { throw std::domain_error("x"); }), std::domain_error);
        MainThread::post([&] { order.push_back(3); });
        MainThread::stop();
    });
    MainThread::run();
    other.join();
    EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace varkel
