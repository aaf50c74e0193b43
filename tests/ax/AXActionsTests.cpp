#include <gmock/gmock.h>

#include "ax/AXActions.h"
#include "ax/AXTree.h"
#include "ax/BatchManager.h"
#include "ax/ChangeCounter.h"
#include "ax/ElementId.h"
#include "support/FakeDesktop.h"
#include "support/RunTask.h"

namespace varkel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr pid_t editor = 10;

class AXActionsTest : public testing::Test {
  protected:
    AXActionsTest() {
        window = desktop.addApplication(editor)->add("AXWindow", "Untitled");
        button = window->add("AXButton", "Save");
        field = window->add("AXTextField", "Name");
        desktop.frontmost = editor;
    }

    static HTTPResponse click(const std::string& id, std::optional<std::string> batch = std::nullopt) {
        return runTask(axClick({id, std::move(batch)}));
    }
    static HTTPResponse type(const std::string& id, const std::string& text) {
        return runTask(axType({id, text, std::nullopt}));
    }
    static HTTPResponse scroll(const std::string& id, const std::string& direction,
                               std::optional<double> amount = std::nullopt) {
        return runTask(axScroll({id, direction, amount, std::nullopt}, nullptr));
    }

    FakeDesktop desktop;
    std::shared_ptr<SceneElement> window;
    std::shared_ptr<SceneElement> button;
    std::shared_ptr<SceneElement> field;
    const std::string windowId = elementId({editor, "AXWindow", {}, "Untitled"}, "0/0");
    const std::string buttonId = elementId({editor, "AXButton", {}, "Save"}, "0/0/0");
    const std::string fieldId = elementId({editor, "AXTextField", {}, "Name"}, "0/0/1");
    const std::uint64_t changes = globalChangeCounter().value();
};

TEST_F(AXActionsTest, ClickPressesWhatCanBePressed) {
    button->actions = {AXAction::press};
    EXPECT_EQ(statusAndBody(click(buttonId)), R"(200 {"ok":true,"method":"ax_press"})");
    EXPECT_THAT(desktop.done(), ElementsAre("AXPress"));
    EXPECT_EQ(globalChangeCounter().value(), changes + 1);
}

TEST_F(AXActionsTest, ClickFallsBackToTheMouseAtTheCentre) {
    EXPECT_EQ(statusAndBody(click(buttonId)),
              R"(500 {"error":"action_failed","hint":"no frame for synthesized click"})");
    EXPECT_EQ(globalChangeCounter().value(), changes);
    EXPECT_THAT(desktop.done(), IsEmpty());

    button->setFrame({100, 200, 40, 21});
    EXPECT_EQ(statusAndBody(click(buttonId)),
              R"(200 {"ok":true,"method":"synthesized_click","x":120,"y":210.5})");
    EXPECT_THAT(desktop.done(), ElementsAre("mouse 5 120,210.5", "mouse 1 120,210.5", "mouse 2 120,210.5"));
    EXPECT_EQ(globalChangeCounter().value(), changes + 1);
}

TEST_F(AXActionsTest, TypeSetsAValueOrTypesKeyByKey) {
    EXPECT_EQ(statusAndBody(type(fieldId, "aÅA")), R"(200 {"ok":true,"method":"cg_event"})");
    EXPECT_THAT(desktop.done(), ElementsAre("announce aÅA", "down 0", "up 0", "down 0 uc5", "up 0 uc5",
                                            "down 0 flags 20000", "up 0 flags 20000", "announcement ends"));
    field->settable = {AXAttribute::value, AXAttribute::focused};
    EXPECT_EQ(statusAndBody(type(fieldId, "whole")), R"(200 {"ok":true,"method":"ax_value"})");
    EXPECT_EQ(desktop.done().back(), "AXValue=whole");
    EXPECT_EQ(globalChangeCounter().value(), changes + 2);

    field->settable = {AXAttribute::focused};
    EXPECT_EQ(statusAndBody(type(fieldId, "")), R"(200 {"ok":true,"method":"cg_event"})");
    EXPECT_EQ(desktop.done().back(), "AXFocused=true") << "an empty text only moves the focus";
}

TEST_F(AXActionsTest, ScrollTakesOneStepForEveryFifty) {
    window->actions = {AXAction::scrollDown};
    const std::map<std::string, std::size_t> cases{
        {"100", 2}, {"149", 2},  {"150", 3},  {"50", 1},         {"99", 1},
        {"0", 1},   {"75.5", 1}, {"-400", 1}, {"100000", 2'000}, {"1e+300", 100'000}};
    for (const auto& [amount, steps] : cases) {
        desktop.forgetDone();
        EXPECT_EQ(statusAndBody(scroll(windowId, "Down", std::stod(amount))),
                  R"(200 {"ok":true,"method":"ax_scroll","direction":"down","amount":)" + amount + "}");
        EXPECT_EQ(desktop.done().size(), steps) << amount;
    }
}

TEST_F(AXActionsTest, ScrollEndsSoonWhenItsClientHasGone) {
    struct : RequestClient {
        bool hasGone() override { return true; }
    } client;
    window->actions = {AXAction::scrollDown};
    const auto steps = [&](double amount) {
        desktop.forgetDone();
        const AXScrollRequest request{windowId, "down", amount, std::nullopt};
        EXPECT_EQ(runTask(axScroll(request, &client)).status, 200);
        return desktop.done().size();
    };
    EXPECT_EQ(steps(5'000), 100U) << "it may wait all the same, and what it asks for is soon done";
    EXPECT_LE(steps(1e6), 200U);
}

TEST_F(AXActionsTest, ActsInTheBatchsApplication) {
    button->actions = {AXAction::press};
    desktop.addApplication(20, "Other");
    desktop.frontmost = 20;
    EXPECT_EQ(click(buttonId).status, 404);
    BatchManager::shared().begin("editor", editor);
    EXPECT_EQ(click(buttonId, "editor").status, 200);
    desktop.frontmost.reset();
    EXPECT_EQ(statusAndBody(click(buttonId, "editor")), R"(500 {"error":"could_not_get_frontmost_app"})");
    BatchManager::shared().end("editor");
}

TEST_F(AXActionsTest, GoStraightToAnElementWhoseIdWasIssued) {
    for (int i = 0; i < 100; ++i) window->add("AXButton", "filler");
    const auto last = window->add("AXButton", "Last");
    last->actions = {AXAction::press};
    const std::string id = elementId({editor, "AXButton", {}, "Last"}, "0/0/102");
    const auto titlesRead = [&] {
        const int before = desktop.reads(AXAttribute::title);
        EXPECT_EQ(click(id).status, 200);
        return desktop.reads(AXAttribute::title) - before;
    };
    EXPECT_GT(titlesRead(), 100) << "never issued: everything before it is looked at";
    runTask(axTree(RootPid{editor}));
    EXPECT_EQ(titlesRead(), 1);
}

TEST_F(AXActionsTest, NeverActOnAnotherElementAtTheSamePlace) {
    button->actions = {AXAction::press};
    runTask(axTree(RootPid{editor}));
    button->set(AXAttribute::title, std::string("Delete everything"));
    EXPECT_EQ(click(buttonId).status, 404);
    window->children->insert(window->children->begin(), window->add("AXGroup"));
    button->set(AXAttribute::title, std::string("Save"));
    EXPECT_EQ(click(buttonId).status, 404) << "a sibling before it changes the path";
    EXPECT_THAT(desktop.done(), IsEmpty());
}

}  // namespace
}  // namespace varkel::test
