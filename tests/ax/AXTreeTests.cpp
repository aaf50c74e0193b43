#include <gmock/gmock.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <condition_variable>
#include <future>

#include "ax/AXTree.h"
#include "ax/BatchManager.h"
#include "ax/ChangeCounter.h"
#include "ax/ElementId.h"
#include "support/Deadline.h"
#include "support/FakeDesktop.h"
#include "support/RunTask.h"

namespace varkel::test {
namespace {

constexpr pid_t editor = 10;
constexpr pid_t browser = 20;

class AXTreeTest : public testing::Test {
  protected:
    AXTreeTest() {
        desktop.addApplication(editor, "Editor")->add("AXWindow", "Untitled");
        desktop.addApplication(browser, "Browser");
        desktop.frontmost = editor;
    }

    static HTTPResponse request(std::optional<std::int64_t> rootPid) {
        return answerOf("/ax/tree", rootPid ? "{\"root_pid\":" + std::to_string(*rootPid) + "}" : "{}");
    }

    static std::string cacheHeader(const HTTPResponse& response) {
        return headerOf(response, "X-Varkel-Cache");
    }

    FakeDesktop desktop;
};

TEST_F(AXTreeTest, IsServedFromTheCacheForASecondAndWhileTheSameApplicationIsInFront) {
    using Front = std::optional<pid_t>;
    const std::tuple<double, Front, Front, bool> cases[] = {
        {0, editor, editor, true},        {0.999, editor, editor, true},   {1.0, editor, editor, true},
        {1.001, editor, editor, false},   {-5, editor, editor, true},      {0, editor, browser, false},
        {0, editor, std::nullopt, false}, {0, std::nullopt, editor, true}, {0, {}, {}, true},
    };
    double time = 1024;
    for (const auto& [age, before, after, hit] : cases) {
        desktop.time = time += 1024;
        desktop.frontmost = before;
        const HTTPResponse first = request(editor);
        EXPECT_EQ(cacheHeader(first), "MISS");
        desktop.time = time + age;
        desktop.frontmost = after;
        const HTTPResponse second = request(editor);
        EXPECT_EQ(cacheHeader(second), hit ? "HIT" : "MISS") << age << " " << after.value_or(0);
        // The very same bytes, not written anew.
        EXPECT_EQ(second.body == first.body, hit);
    }
}

TEST_F(AXTreeTest, IsServedFromTheCacheWithoutWaitingWhenTheDesktopKnows) {
    const HTTPResponse first = request(editor);
    desktop.knownWithoutWaiting = true;
    const int queries = desktop.frontmostQueries;
    EXPECT_EQ(cacheHeader(request(editor)), "HIT");
    EXPECT_EQ(desktop.frontmostQueries, queries);
    desktop.frontmost = browser;
    EXPECT_EQ(cacheHeader(request(editor)), "MISS");
}

/// Requests on two I/O threads, and readings that the test lets go on one by one.
class AXTreeAtOnceTest : public AXTreeTest {
  protected:
    AXTreeAtOnceTest() {
        desktop.frontmost = browser;
        desktop.knownWithoutWaiting = true;
        desktop.whenRead = [this](pid_t pid) { hold(pid); };
        BatchManager::shared().begin("x", editor);
    }

    ~AXTreeAtOnceTest() override {
        for (std::size_t number = 0; number < 100; ++number) letGoOn(number);
        first_.join();
        second_.join();
        BatchManager::shared().end("x");
    }

    /// Returns when the request has got as far as it can.
    std::future<AXTreeData> ask(TreeTarget target) {
        auto& thread = next_++ % 2 == 0 ? first_ : second_;
        auto answer = boost::asio::co_spawn(thread, axTreeData(std::move(target)), boost::asio::use_future);
        boost::asio::post(thread, std::packaged_task<void()>([] {})).get();
        return answer;
    }

    /// The applications whose reading has begun, once there are as many.
    std::vector<pid_t> begun(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, patience, [&] { return begun_.size() >= count; });
        return begun_;
    }

    void letGoOn(std::size_t number) {
        const std::scoped_lock lock(mutex_);
        free_.insert(number);
        changed_.notify_all();
    }

  private:
    void hold(pid_t pid) {
        std::unique_lock lock(mutex_);
        const std::size_t number = begun_.size();
        begun_.push_back(pid);
        changed_.notify_all();
        changed_.wait_for(lock, patience, [&] { return free_.contains(number); });
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<pid_t> begun_;
    std::set<std::size_t> free_;
    boost::asio::thread_pool first_{1}, second_{1};
    std::size_t next_ = 0;
};

TEST_F(AXTreeAtOnceTest, IsReadOnceForAllWhoAskWhileItIsRead) {
    std::vector<std::future<AXTreeData>> answers;
    for (int i = 0; i < 20; ++i) answers.push_back(ask(RootPid{editor}));
    answers.push_back(ask(BatchId{"x"}));
    letGoOn(0);
    TreeSnapshotRef first;
    for (auto& answer : answers) {
        const AXTreeData data = answer.get();
        if (!first) first = data.snapshot;
        EXPECT_EQ(data.snapshot, first);
        EXPECT_FALSE(data.cacheHit) << "it was read for this request, too";
    }
    EXPECT_EQ(begun(1).size(), 1U);
    EXPECT_TRUE(ask(RootPid{editor}).get().cacheHit);
}

TEST_F(AXTreeAtOnceTest, IsOfTheApplicationThatEachOneWouldReadAlone) {
    struct Case {
        TreeTarget target;
        const char* label;
    };
    std::vector<Case> cases{{BatchId{"x"}, "Editor"},
                            {{}, "Browser"},
                            {BatchId{"unknown"}, "Browser"},
                            {RootPid{editor}, "Editor"}};
    for (std::size_t round = 0; round < cases.size(); ++round) {
        std::vector<std::future<AXTreeData>> answers;
        for (const Case& c : cases) answers.push_back(ask(c.target));
        EXPECT_EQ(begun(2 * round + 2).size(), 2 * round + 2);
        // In turn the first one to begin ends last.
        letGoOn(2 * round + round % 2);
        letGoOn(2 * round + 1 - round % 2);
        for (std::size_t i = 0; i < cases.size(); ++i) {
            const AXTreeData data = answers[i].get();
            EXPECT_EQ(data.snapshot->tree().label, cases[i].label) << round << " " << i;
            EXPECT_FALSE(data.cacheHit) << round << " " << i;
        }
        axBumpChangeCounter();
        std::rotate(cases.begin(), cases.begin() + 1, cases.end());
    }
}

TEST_F(AXTreeAtOnceTest, IsNotTheOneWhoseReadingBeganBeforeAnAct) {
    auto before = ask(RootPid{editor});
    ASSERT_EQ(begun(1).size(), 1U);
    axBumpChangeCounter();
    auto after = ask(RootPid{editor});
    ASSERT_EQ(begun(2).size(), 2U);
    letGoOn(1);
    const AXTreeData fresh = after.get();
    letGoOn(0);
    EXPECT_NE(before.get().snapshot, fresh.snapshot);
    const AXTreeData later = ask(RootPid{editor}).get();
    EXPECT_TRUE(later.cacheHit);
    EXPECT_EQ(later.snapshot, fresh.snapshot) << "the older one came later and is not kept";
}

TEST_F(AXTreeAtOnceTest, FailsForAllWhoShareItAndForNobodyElse) {
    desktop.whenRead = [hold = desktop.whenRead](pid_t pid) {
        hold(pid);
        throw std::runtime_error("broken");
    };
    auto first = ask(RootPid{editor});
    auto second = ask(RootPid{editor});
    ASSERT_EQ(begun(1).size(), 1U);
    letGoOn(0);
    EXPECT_THROW(first.get(), std::runtime_error);
    EXPECT_THROW(second.get(), std::runtime_error);
    desktop.whenRead = nullptr;
    EXPECT_EQ(ask(RootPid{editor}).get().snapshot->tree().label, "Editor");
}

TEST_F(AXTreeTest, OfABatchIsItsApplicationsUnderTheFrontmostOnesKey) {
    BatchManager::shared().begin("pinned", editor);
    desktop.frontmost = browser;
    const AXTreeData pinned = runTask(axTreeData(BatchId{"pinned"}));
    EXPECT_EQ(pinned.snapshot->tree().label, "Editor");
    EXPECT_FALSE(pinned.cacheHit);
    const AXTreeData again = runTask(axTreeData({}));
    EXPECT_EQ(again.snapshot, pinned.snapshot) << "kept under the frontmost application's pid";
    EXPECT_TRUE(again.cacheHit);

    BatchManager::shared().end("pinned");
    BatchManager::shared().end("never begun");
    axBumpChangeCounter();
    EXPECT_EQ(runTask(axTreeData(BatchId{"pinned"})).snapshot->tree().label, "Browser");
}

}  // namespace
}  // namespace varkel::test
