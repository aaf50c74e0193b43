#include <gmock/gmock.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <limits>

#include "ax/AX+Shared.h"
#include "ax/AXTree.h"
#include "ax/BatchManager.h"
#include "ax/ChangeCounter.h"
#include "support/FakeDesktop.h"
#include "support/RunTask.h"

namespace varkel {
namespace {

using test::FakeDesktop;
using test::runTask;

constexpr pid_t editor = 10;
constexpr pid_t browser = 20;

class AXTreeTest : public testing::Test {
  protected:
    AXTreeTest() {
        desktop.addApplication(editor, "Editor")->add("AXWindow", "Untitled");
        desktop.addApplication(browser, "Browser");
        desktop.frontmost = editor;
    }

    static HTTPResponse request(std::optional<std::int64_t> rootPid,
                                std::optional<std::string> batchId = std::nullopt) {
        return runTask(axTree(rootPid, std::move(batchId)));
    }

    static std::string cacheHeader(const HTTPResponse& response) {
        return test::headerOf(response, "X-Varkel-Cache");
    }

    /// Twenty requests for the editor's tree at once.
    static void askAtOnce(const std::optional<std::string>& batchId,
                          const std::function<void(const AXTreeData&)>& onAnswer) {
        boost::asio::io_context context;
        const auto ask = [&]() -> Task<void> { onAnswer(co_await axTreeData(editor, batchId)); };
        for (int i = 0; i < 20; ++i) boost::asio::co_spawn(context, ask(), boost::asio::detached);
        context.run();
    }

    FakeDesktop desktop;
};

TEST_F(AXTreeTest, IsServedFromTheCacheWithinASecond) {
    const HTTPResponse first = request(std::nullopt);
    EXPECT_EQ(first.status, 200);
    EXPECT_EQ(cacheHeader(first), "MISS");
    EXPECT_THAT(*first.body, testing::StartsWith(R"({"tree":{"id":)"));
    const HTTPResponse second = request(std::nullopt);
    EXPECT_EQ(cacheHeader(second), "HIT");
    EXPECT_EQ(second.body, first.body) << "the very same bytes, not written anew";
    const AXTreeData blocking = axTreeDataBlocking(std::nullopt, std::nullopt);
    EXPECT_TRUE(blocking.cacheHit);
    EXPECT_EQ(blocking.pid, editor) << "the key that it was found under";
    desktop.time += 1.5;
    EXPECT_EQ(cacheHeader(request(std::nullopt)), "MISS");
    EXPECT_EQ(desktop.applicationsMade, 2);
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

TEST_F(AXTreeTest, IsReadOnceForAllWhoAskWhileItIsRead) {
    for (const bool known : {true, false}) {
        desktop.knownWithoutWaiting = known;
        runTask(axTreeData(browser, std::nullopt));
        const int before = desktop.applicationsMade;
        int hits = 0;
        askAtOnce(std::nullopt, [&](const AXTreeData& data) { hits += data.cacheHit ? 1 : 0; });
        EXPECT_EQ(desktop.applicationsMade - before, 1) << known;
        EXPECT_EQ(hits, 19) << known;
        axBumpChangeCounter();
    }
}

TEST_F(AXTreeTest, IsReadTwiceForAllWhoAskWhileEveryTreeIsOutOfDateAtOnce) {
    runTask(axTreeData(browser, std::nullopt));
    desktop.secondsPerLook = 2;
    BatchManager::shared().begin("of the editor", editor);
    using Batch = std::optional<std::string>;
    for (const Batch& batch : {Batch(), Batch("of the editor")}) {
        desktop.knownWithoutWaiting = true;
        const int before = desktop.applicationsMade;
        int answers = 0;
        askAtOnce(batch, [&](const AXTreeData& data) {
            EXPECT_EQ(data.snapshot->tree().label, "Editor");
            ++answers;
        });
        EXPECT_EQ(answers, 20);
        EXPECT_LE(desktop.applicationsMade - before, 2);
    }
    BatchManager::shared().end("of the editor");
}

TEST_F(AXTreeTest, OfABatchIsItsApplicationsUnderTheFrontmostOnesKey) {
    BatchManager::shared().begin("pinned", editor);
    desktop.frontmost = browser;
    const AXTreeData pinned = runTask(axTreeData(std::nullopt, "pinned"));
    EXPECT_EQ(pinned.snapshot->tree().label, "Editor");
    EXPECT_FALSE(pinned.cacheHit);
    const AXTreeData again = runTask(axTreeData(std::nullopt, std::nullopt));
    EXPECT_EQ(again.snapshot, pinned.snapshot) << "kept under the frontmost application's pid";
    EXPECT_TRUE(again.cacheHit);

    axBumpChangeCounter();
    const AXTreeData both = runTask(axTreeData(browser, "pinned"));
    EXPECT_EQ(both.snapshot->tree().label, "Editor") << "the root pid is only the key";

    BatchManager::shared().end("pinned");
    BatchManager::shared().end("never begun");
    axBumpChangeCounter();
    EXPECT_EQ(runTask(axTreeData(std::nullopt, "pinned")).snapshot->tree().label, "Browser");
}

TEST_F(AXTreeTest, FailsWithTheAnswerOfEachFailure) {
    desktop.frontmost.reset();
    EXPECT_EQ(request(std::nullopt).status, 500);
    EXPECT_EQ(*request(std::nullopt).body, R"({"error":"could_not_get_frontmost_app"})");
    EXPECT_EQ(request(editor).status, 200) << "a root pid needs no frontmost application";

    for (const std::int64_t pid : {std::numeric_limits<std::int64_t>::max(), -3'000'000'000}) {
        EXPECT_EQ(request(pid).status, 400);
        EXPECT_EQ(*request(pid).body, R"({"error":"bad_request"})");
    }

    desktop.trusted = false;
    const HTTPResponse refused = request(editor);
    EXPECT_EQ(refused.status, 403);
    EXPECT_EQ(*refused.body, R"({"error":"ax_permission_missing",)"
                             R"("hint":"System Settings -> Privacy & Security -> Accessibility"})");
    EXPECT_EQ(cacheHeader(refused), "");
}

}  // namespace
}  // namespace varkel
