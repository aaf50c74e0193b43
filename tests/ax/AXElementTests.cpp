#include <gmock/gmock.h>

#include "ax/AXError.h"
#include "ax/Attributes.h"
#include "ax/ElementId.h"
#include "json/JSONEncoder.h"
#include "support/FakeDesktop.h"

namespace varkel {
namespace {

using test::FakeDesktop;
using test::SceneElement;

TEST(ElementId, IsTheBeginningOfTheDigestOfPidRoleIdentifierTitleAndPath) {
    EXPECT_EQ(sha256Hash(""), "e3b0c44298fc1c14");
    EXPECT_EQ(sha256Hash("4242|AXWindow||Untitled|0/0"), "3483eeab386ec373");
    EXPECT_EQ(elementId({4242, "AXWindow", std::nullopt, "Untitled"}, "0/0"), "3483eeab386ec373");
    EXPECT_EQ(elementId({4242, "AXButton", "saveButton", "Save"}, "0/0/3"), "2a6b6468847eba3d");
    EXPECT_EQ(elementId({4242, "Unknown", std::nullopt, std::nullopt}, "0/1"), "29d0a9c8d7f7b82b");
}

TEST(ElementId, StandsForWhatCannotBeRead) {
    FakeDesktop desktop;
    const auto element = std::make_shared<SceneElement>(0);
    element->pid.reset();
    const ElementIdentity identity = readIdentity(element);
    EXPECT_EQ(identity.pid, 0);
    EXPECT_EQ(identity.role, "Unknown");
    EXPECT_EQ(identity.identifier, std::nullopt);
    EXPECT_EQ(identity.title, std::nullopt);
}

TEST(GetAttribute, NeverConvertsBetweenTypes) {
    FakeDesktop desktop;
    const auto element = std::make_shared<SceneElement>(1);
    element->set(AXAttribute::value, 42.0).set(AXAttribute::enabled, std::string("yes"));
    element->set(AXAttribute::focused, true).fail(AXAttribute::title);
    EXPECT_EQ(getAttribute<std::string>(element, AXAttribute::value), std::nullopt);
    EXPECT_EQ(getAttribute<bool>(element, AXAttribute::enabled), std::nullopt);
    EXPECT_EQ(getAttribute<bool>(element, AXAttribute::focused), true);
    EXPECT_EQ(getAttribute<std::string>(element, AXAttribute::title), std::nullopt);
}

TEST(GetFrame, NeedsBothHalvesAndTakesZerosForTheWrongKind) {
    FakeDesktop desktop;
    const auto element = std::make_shared<SceneElement>(1);
    EXPECT_EQ(getFrame(element), std::nullopt);
    element->set(AXAttribute::position, CGPoint{10, 20});
    EXPECT_EQ(getFrame(element), std::nullopt) << "a position without a size is no frame";
    element->set(AXAttribute::size, CGSize{30, 40});
    EXPECT_EQ(getFrame(element), (AXFrame{10, 20, 30, 40}));
    element->set(AXAttribute::size, CGPoint{30, 40});
    EXPECT_EQ(getFrame(element), (AXFrame{10, 20, 0, 0}));
    element->set(AXAttribute::size, std::string("30x40"));
    EXPECT_EQ(getFrame(element), std::nullopt) << "a text is no packed geometry";
}

TEST(AXErrorResponse, LeavesAnEmptyHintOut) {
    EXPECT_EQ(encodeJSON(axErrorResponse(AXErrorCode::elementNotFound, "")),
              R"({"error":"element_not_found"})");
    EXPECT_EQ(encodeJSON(axErrorResponse(AXErrorCode::invalidInput, "h")),
              R"({"error":"invalid_input","hint":"h"})");
}

}  // namespace
}  // namespace varkel
