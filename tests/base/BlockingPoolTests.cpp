#include <gmock/gmock.h>

#include <future>
#include <latch>

#include "base/BlockingPool.h"
#include "support/Deadline.h"
#include "support/NoNewThreads.h"
#include "support/RunTask.h"

namespace varkel::test {

TEST(BlockingPool, RunsElsewhereAndResumesAtHome) {
    BlockingPool pool;
    EXPECT_EQ(pool.threadCount(), 0U);
    const auto task = [&]() -> Task<bool> {
        const auto home = std::this_thread::get_id();
        auto where = [] { return std::this_thread::get_id(); };
        const auto there = co_await runBlocking(where, pool);
        co_return there != home&& std::this_thread::get_id() == home;
    };
    EXPECT_TRUE(runTask(task()));
    EXPECT_EQ(pool.threadCount(), 1U);
    const auto failing = [&]() -> Task<void> {
        auto raise = [] { throw std::domain_error("from the pool"); };
        co_await runBlocking(raise, pool);
    };
    EXPECT_THROW(runTask(failing()), std::domain_error);
}

TEST(BlockingPool, RefusesWorkOnlyWithoutAnyThread) {
    BlockingPool pool;
    const auto task = [&]() -> Task<int> {
        auto answer = [] { return 42; };
        co_return co_await runBlocking(answer, pool);
    };
    {
        const NoNewThreads shortage;
        EXPECT_THROW(runTask(task()), std::system_error);
    }
    EXPECT_EQ(runTask(task()), 42);
    std::promise<void> release;
    pool.submit([released = release.get_future().share()] { released.wait(); });
    std::atomic<bool> done = false;
    {
        // The one thread there is may be busy: the work waits for it.
        const NoNewThreads shortage;
        EXPECT_NO_THROW(pool.submit([&] { done = true; }));
    }
    EXPECT_FALSE(done);
    release.set_value();
    EXPECT_EQ(runTask(task()), 42);
    EXPECT_TRUE(eventually([&] { return done.load(); }));
}

TEST(BlockingPool, GrowsWithTheWorkUpToItsLimit) {
    std::latch threeRun(3);
    std::promise<void> release;
    const auto released = release.get_future().share();
    std::atomic<int> done = 0;
    {
        BlockingPool pool(3);
        for (int i = 0; i < 3; ++i) {
            pool.submit([&] {
                threeRun.count_down();
                released.wait();
                ++done;
            });
        }
        threeRun.wait();
        for (int i = 0; i < 5; ++i) pool.submit([&] { ++done; });
        EXPECT_EQ(pool.threadCount(), 3U);
        EXPECT_EQ(done, 0);
        release.set_value();
    }
    EXPECT_EQ(done, 8) << "what is queued is done before it ends";
}

TEST(BlockingPool, SleepsAtLeastAsLongAsAsked) {
    const auto before = std::chrono::steady_clock::now();
    runTask(sleepFor(std::chrono::milliseconds(20)));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

}  // namespace varkel::test
