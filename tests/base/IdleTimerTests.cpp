#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>

#include "base/IdleTimer.h"

namespace varkel {

using namespace std::chrono_literals;

TEST(IdleTimer, CallsItsTaskOnceAfterTheLastTouch) {
    boost::asio::io_context context;
    using Clock = std::chrono::steady_clock;
    constexpr auto idleTime = 20ms;
    Clock::time_point lastTouch;
    std::vector<Clock::time_point> calls;
    IdleTimer timer(context.get_executor(), idleTime, [&] { calls.push_back(Clock::now()); });
    context.run();
    EXPECT_TRUE(calls.empty()) << "nothing was to do";

    boost::asio::steady_timer work(context);
    int touches = 0;
    std::function<void()> touchOften = [&] {
        timer.touch();
        lastTouch = Clock::now();
        if (++touches == 10) return;
        work.expires_after(idleTime / 4);
        work.async_wait([&](const boost::system::error_code&) { touchOften(); });
    };
    for (std::size_t round = 1; round <= 2; ++round) {
        touches = 0;
        touchOften();
        context.restart();
        // It ends, for the timer waits only while there may be something to do.
        context.run();
        ASSERT_EQ(calls.size(), round);
        EXPECT_GE(calls.back() - lastTouch, idleTime);
    }
}

}  // namespace varkel
