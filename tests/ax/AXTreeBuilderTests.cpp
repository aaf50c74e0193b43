#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ax/AX+Shared.h"
#include "ax/AXTreeBuilder.h"
#include "http/JSONEncoder.h"
#include "support/FakeDesktop.h"

namespace varkel {
namespace {

using test::FakeDesktop;
using test::SceneElement;

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
    EXPECT_EQ(desktop.prefetches(), 1);
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
    // Freed from the bottom up: the scene itself is deep enough to exhaust the stack.
    deepest.reset();
    while (!all.empty()) all.pop_back();
}

/// Children that are new at every read: no two are the same, and there is no end to them.
class EndlessDesktop : public Accessibility {
  public:
    bool AXIsProcessTrusted() override { return true; }
    AXUIElementRef AXUIElementCreateApplication(pid_t) override { return std::make_shared<AXUIElement>(); }
    AXResult<AXValue> AXUIElementCopyAttributeValue(const AXUIElementRef&, AXAttribute) override {
        return AXResult<AXValue>::failed(AXError::noValue);
    }
    AXResult<std::vector<AXUIElementRef>> AXUIElementCopyAttributeValues(const AXUIElementRef&, AXAttribute,
                                                                         std::size_t,
                                                                         std::size_t max) override {
        std::vector<AXUIElementRef> children(max);
        for (AXUIElementRef& child : children) child = std::make_shared<AXUIElement>();
        return AXResult<std::vector<AXUIElementRef>>::of(std::move(children));
    }
    AXResult<pid_t> AXUIElementGetPid(const AXUIElementRef&) override { return AXResult<pid_t>::of(1); }
    AXError AXUIElementPerformAction(const AXUIElementRef&, AXAction) override {
        return AXError::unsupported;
    }
    AXError AXUIElementSetAttributeValue(const AXUIElementRef&, AXAttribute, const AXValue&) override {
        return AXError::unsupported;
    }
    bool CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) override { return a == b; }
};

std::size_t countElements(const AXElementInfo& info) {
    std::size_t count = 1;
    if (!info.children) return count;
    for (const AXElementInfo& child : *info.children) count += countElements(child);
    return count;
}

std::size_t countText(const AXElementInfo& info) {
    std::size_t count =
        info.label.value_or("").size() + info.value.value_or("").size() + info.identifier.value_or("").size();
    if (!info.children) return count;
    for (const AXElementInfo& child : *info.children) count += countText(child);
    return count;
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
    EXPECT_GT(countText(tree), maxTreeText - text.size());
    EXPECT_LE(countText(tree), maxTreeText);
    EXPECT_EQ(tree.children->back().label, std::nullopt);
    EXPECT_EQ(tree.children->back().role, "AXGroup");
}

TEST(BuildTree, EndsWhereElementsNeverDo) {
    FakeDesktop desktop;
    Platform::current().accessibility = std::make_unique<EndlessDesktop>();
    const AXElementInfo tree =
        buildTree(Platform::current().accessibility->AXUIElementCreateApplication(1), "0");
    EXPECT_EQ(countElements(tree), maxTreeElements);
}

}  // namespace
}  // namespace varkel
