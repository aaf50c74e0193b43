#include <gmock/gmock.h>

#include "ax/AXTreeCache.h"
#include "ax/ChangeCounter.h"
#include "support/FakeDesktop.h"

namespace varkel {
namespace {

using test::FakeDesktop;

constexpr pid_t editor = 10;
constexpr pid_t browser = 20;

TreeSnapshotRef treeOf(pid_t pid) {
    AXElementInfo info;
    info.id = std::to_string(pid);
    return std::make_shared<const TreeSnapshot>(std::move(info));
}

void keep(AXTreeCache& cache, pid_t key) {
    cache.set(key, treeOf(key), globalChangeCounter().value());
}

TEST(AXTreeCache, KeepsATreeForOneSecond) {
    const struct {
        double age;
        bool hit;
    } cases[] = {{0, true}, {0.999, true}, {1.0, true}, {1.001, false}, {1.5, false}, {-5, true}};
    for (const auto& [age, hit] : cases) {
        FakeDesktop desktop;
        desktop.time = 1024;
        AXTreeCache cache;
        keep(cache, editor);
        desktop.time = 1024 + age;
        EXPECT_EQ(cache.get(editor, editor) != nullptr, hit) << age;
        desktop.time = 1024;
        EXPECT_EQ(cache.get(editor, editor) != nullptr, hit) << "an entry found too old is gone, " << age;
    }
}

TEST(AXTreeCache, TakesTheFrontmostApplicationForAMissingRootPid) {
    EXPECT_EQ(AXTreeCache::keyFor(editor, browser), editor);
    EXPECT_EQ(AXTreeCache::keyFor(std::nullopt, browser), browser);
    EXPECT_EQ(AXTreeCache::keyFor(std::nullopt, std::nullopt), 0);
}

TEST(AXTreeCache, DropsAllTreesWhenAnotherApplicationComesToTheFront) {
    using Front = std::optional<pid_t>;
    const struct {
        Front before;
        Front after;
        bool survives;
    } cases[] = {
        {editor, editor, true},       {editor, browser, false},           {editor, std::nullopt, false},
        {std::nullopt, editor, true}, {std::nullopt, std::nullopt, true},
    };
    for (const auto& [before, after, survives] : cases) {
        FakeDesktop desktop;
        AXTreeCache cache;
        cache.get(editor, before);
        keep(cache, editor);
        EXPECT_EQ(cache.get(editor, after) != nullptr, survives)
            << before.value_or(-1) << " " << after.value_or(-1);
    }
}

TEST(AXTreeCache, KeepsNoTreeWhoseReadingBeganBeforeAChange) {
    const FakeDesktop desktop;
    AXTreeCache cache;
    const std::uint64_t before = globalChangeCounter().value();
    globalChangeCounter().increment();
    cache.set(editor, treeOf(editor), before);
    EXPECT_EQ(cache.get(editor, editor), nullptr);
}

}  // namespace
}  // namespace varkel
