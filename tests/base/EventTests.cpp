#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>

#include "base/Event.h"

namespace varkel {

TEST(Event, ResumesThoseThatWaitAndKeepsNoneThatComesLater) {
    boost::asio::io_context context;
    Event event(context.get_executor());
    int resumed = 0;
    const auto waitOnce = [](Event& of, int& count) -> Task<void> {
        co_await of.wait();
        ++count;
    };
    boost::asio::co_spawn(context, waitOnce(event, resumed), boost::asio::detached);
    boost::asio::co_spawn(context, waitOnce(event, resumed), boost::asio::detached);
    context.poll();
    EXPECT_EQ(resumed, 0);
    event.set();
    context.poll();
    EXPECT_EQ(resumed, 2);
    boost::asio::co_spawn(context, waitOnce(event, resumed), boost::asio::detached);
    context.restart();
    context.poll();
    EXPECT_EQ(resumed, 3);
}

}  // namespace varkel
