#include <gmock/gmock.h>

#include "ax/AXTreeBuilder.h"
#include "ax/Attributes.h"
#include "ax/ElementId.h"
#include "ax/ElementSearch.h"
#include "ax/PathCache.h"
#include "json/JSONEncoder.h"
#include "support/FakeDesktop.h"

namespace varkel::test {
namespace {

TEST(BuildTree, WritesPresentFieldsAndLeavesAbsentOnesOut) {
    FakeDesktop desktop;
    const auto application = desktop.addApplication(4242);
    const auto window = application->add("AXWindow", "Untitled");
    const auto button = window->add("AXButton", "Save");
    button->set(AXAttribute::identifier, std::string("saveButton")).set(AXAttribute::enabled, false);
    button->setFrame({100, 200.5, 40, 20});
    const auto slider = window->add("AXSlider");
    slider->set(AXAttribute::value, 0.5).set(AXAttribute::position, CGPoint{1, 2});
    const auto field = window->add("AXTextField");
    field->set(AXAttribute::value, std::string("")).set(AXAttribute::focused, true);
    field->children.emplace();

    const AXElementInfo tree = buildTree(application, "0");
    EXPECT_EQ(encodeJSON(tree),
              R"({"id":")" + elementId({4242, "AXApplication", {}, {}}, "0") +
                  R"(","role":"AXApplication","children":[{"id":"3483eeab386ec373","role":"AXWindow",)"
                  R"("label":"Untitled","children":[{"id":")" +
                  elementId({4242, "AXButton", "saveButton", "Save"}, "0/0/0") +
                  R"(","role":"AXButton","label":"Save","identifier":"saveButton",)"
                  R"("frame":{"x":100,"y":200.5,"width":40,"height":20},"enabled":false},{"id":")" +
                  elementId({4242, "AXSlider", {}, {}}, "0/0/1") + R"(","role":"AXSlider"},{"id":")" +
                  elementId({4242, "AXTextField", {}, {}}, "0/0/2") +
                  R"(","role":"AXTextField","value":"","focused":true,"children":[]}]}]})");
}

TEST(BuildTree, OfAProcessThatDoesNotAnswerIsOneUnknownNode) {
    FakeDesktop desktop;
    const AXUIElementRef nobody = Platform::current().accessibility->AXUIElementCreateApplication(99);
    EXPECT_EQ(encodeJSON(buildTree(nobody, "0")),
              R"({"id":")" + elementId({99, "Unknown", {}, {}}, "0") + R"(","role":"Unknown"})");
}

TEST(BuildTree, ReadsEachAttributeOncePerElementAfterOneHint) {
    FakeDesktop desktop;
    const auto application = desktop.addApplication(1);
    for (int i = 0; i < 4; ++i) application->add("AXButton")->setFrame({0, 0, 1, 1});
    buildTree(application, "0");
    EXPECT_EQ(desktop.prefetches, 1);
    using enum AXAttribute;
    for (const AXAttribute attribute :
         {role, title, value, identifier, enabled, focused, position, children}) {
        EXPECT_EQ(desktop.reads(attribute), 5) << attributeName(attribute);
    }
}

TEST(BuildTree, ListsTheFirstThousandChildren) {
    FakeDesktop desktop;
    const auto list = std::make_shared<SceneElement>(1);
    for (int i = 0; i < 1500; ++i) list->add("AXCell", "cell " + std::to_string(i));
    const AXElementInfo tree = buildTree(list, "0/9");
    ASSERT_EQ(tree.children->size(), 1000u);
    EXPECT_EQ(tree.children->back().label, "cell 999");
    EXPECT_EQ(tree.children->back().id, elementId({1, "AXCell", {}, "cell 999"}, "0/9/999"));
}

TEST(BuildTree, LeavesAnElementOutBelowItself) {
    FakeDesktop desktop;
    const auto application = desktop.addApplication(1);
    const auto group = application->add("AXGroup");
    group->add("AXButton", "first");
    group->children->push_back(application);
    group->children->push_back(group);
    group->add("AXButton", "last");

    const AXElementInfo tree = buildTree(application, "0");
    const auto& inside = *tree.children->at(0).children;
    ASSERT_EQ(inside.size(), 2u);
    EXPECT_EQ(inside[1].id, elementId({1, "AXButton", {}, "last"}, "0/0/3"))
        << "positions are the application's";

    // Elements after the loop are found again, on the way that is remembered and on the long one.
    EXPECT_EQ(findElementById(application, inside[1].id, "0"), group->children->back());
    PathCache cache;
    cache.insert(tree);
    EXPECT_EQ(cache.pathOf(inside[1].id), "0/0/3");
    // The scene refers to itself; taken apart, or it would never be freed.
    group->children.reset();
}

TEST(BuildTree, EndsWhereAHierarchyIsDeeperThanAnySaneOne) {
    FakeDesktop desktop;
    const auto application = desktop.addApplication(1);
    auto deepest = application;
    std::vector<std::shared_ptr<SceneElement>> all{application};
    for (int i = 0; i < 5000; ++i) all.push_back(deepest = deepest->add("AXGroup"));

    const AXElementInfo tree = buildTree(application, "0");
    std::size_t depth = 0;
    const AXElementInfo* at = &tree;
    for (; at->children && !at->children->empty(); at = &at->children->front()) ++depth;
    EXPECT_EQ(depth, maxTreeDepth);
    EXPECT_EQ(at->children, std::nullopt);
    // A search goes as deep, and no deeper.
    std::string path = "0";
    for (std::size_t level = 0; level < maxTreeDepth; ++level) path += "/0";
    EXPECT_EQ(findElementById(application, at->id, "0"), all[maxTreeDepth]);
    EXPECT_EQ(findElementById(application, elementId({1, "AXGroup", {}, {}}, path + "/0"), "0"), nullptr);
    // Freed from the bottom up: the scene itself is deep enough to exhaust the stack.
    deepest.reset();
    while (!all.empty()) all.pop_back();
}

/// Every element of a tree.
std::vector<const AXElementInfo*> elementsOf(const AXElementInfo& root) {
    std::vector<const AXElementInfo*> all{&root};
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!all[i]->children) continue;
        for (const AXElementInfo& child : *all[i]->children) all.push_back(&child);
    }
    return all;
}

TEST(BuildTree, HoldsALongTextOnlySoOften) {
    FakeDesktop desktop;
    const auto application = desktop.addApplication(1);
    const std::string text(std::size_t{1} << 20, 'x');
    const auto group = application->add("AXGroup", text);
    group->set(AXAttribute::value, text);
    // One element, listed over and over.
    application->children->resize(300, group);

    const AXElementInfo tree = buildTree(application, "0");
    ASSERT_EQ(tree.children->size(), 300u);
    EXPECT_EQ(tree.children->front().label, text);
    std::size_t size = 0;
    for (const auto* each : elementsOf(tree))
        size += each->label.value_or("").size() + each->value.value_or("").size();
    EXPECT_GT(size, maxTreeText - text.size());
    EXPECT_LE(size, maxTreeText);
    EXPECT_EQ(tree.children->back().label, std::nullopt);
    EXPECT_EQ(tree.children->back().role, "AXGroup");
}

TEST(BuildTree, EndsWhereThereAreMoreElementsThanInAnySaneApplication) {
    FakeDesktop desktop;
    const auto application = desktop.addApplication(1);
    const auto row = application->add("AXRow");
    row->add("AXCell");
    row->children->resize(1000, row->children->front());
    application->children->resize(1000, row);
    EXPECT_EQ(elementsOf(buildTree(application, "0")).size(), maxTreeElements);
}

}  // namespace
}  // namespace varkel::test
