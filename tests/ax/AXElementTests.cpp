#include <gmock/gmock.h>

#include "ax/AXError.h"
#include "ax/Attributes.h"
#include "ax/ElementId.h"
#include "json/JSONEncoder.h"
#include "support/FakeDesktop.h"

namespace varkel::test {

TEST(ElementId, IsTheBeginningOfTheDigestOfPidRoleIdentifierTitleAndPath) {
    EXPECT_EQ(elementId({4242, "AXWindow", std::nullopt, "Untitled"}, "0/0"), "3483eeab386ec373");
    EXPECT_EQ(elementId({4242, "AXButton", "saveButton", "Save"}, "0/0/3"), "2a6b6468847eba3d");
    EXPECT_EQ(elementId({4242, "Unknown", std::nullopt, std::nullopt}, "0/1"), "29d0a9c8d7f7b82b");
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

}  // namespace varkel::test
