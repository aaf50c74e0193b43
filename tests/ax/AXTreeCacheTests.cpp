#include <gmock/gmock.h>

#include "ax/AXTreeCache.h"
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

TEST(AXTreeCache, KeepsATreeForOneSecond) {
    const struct {
        double age;
        bool hit;
    } cases[] = {{0, true}, {0.999, true}, {1.0, true}, {1.001, false}, {1.5, false}, {-5, true}};
    for (const auto& [age, hit] : cases) {
        FakeDesktop desktop;
        desktop.time = 1024;
        AXTreeCache cache;
        cache.set(editor, treeOf(editor));
        desktop.time += age;
        EXPECT_EQ(cache.get(editor) != nullptr, hit) << age;
        desktop.time = 1024;
        EXPECT_EQ(cache.get(editor) != nullptr, hit) << "an entry found too old is gone, " << age;
    }
}

TEST(AXTreeCache, TakesTheFrontmostApplicationForAMissingRootPid) {
    FakeDesktop desktop;
    desktop.frontmost = editor;
    AXTreeCache cache;
    cache.set(std::nullopt, treeOf(editor));
    EXPECT_EQ(cache.get(editor)->tree().id, "10");
    EXPECT_EQ(cache.get(std::nullopt)->tree().id, "10");
    desktop.frontmost.reset();
    EXPECT_EQ(cache.get(0), nullptr);
    cache.set(std::nullopt, treeOf(0));
    EXPECT_EQ(cache.get(0)->tree().id, "0") << "0 stands for no application";
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
        desktop.frontmost = before;
        cache.get(editor);
        cache.set(editor, treeOf(editor));
        desktop.frontmost = after;
        EXPECT_EQ(cache.get(editor) != nullptr, survives) << before.value_or(-1) << " " << after.value_or(-1);
    }
}

TEST(AXTreeCache, CountsHitsAndMissesThroughEveryChange) {
    FakeDesktop desktop;
    AXTreeCache cache;
    EXPECT_EQ(cache.get(editor), nullptr);
    cache.set(editor, treeOf(editor));
    EXPECT_NE(cache.get(editor), nullptr);
    EXPECT_NE(cache.getIfFresh(editor, desktop.frontmost), nullptr);
    cache.invalidateAll();
    EXPECT_EQ(cache.getIfFresh(editor, desktop.frontmost), nullptr) << "not counted: get() follows";
    EXPECT_EQ(cache.get(editor), nullptr);
    EXPECT_EQ(cache.hitCount(), 2u);
    EXPECT_EQ(cache.missCount(), 2u);
}

}  // namespace
}  // namespace varkel
