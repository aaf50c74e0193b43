#include <gmock/gmock.h>

#include "platform/linux/atspi/AtspiRoles.h"

namespace varkel {
namespace {

AtspiStates with(AtspiState state) {
    return AtspiStates(std::uint64_t{1} << static_cast<unsigned>(state));
}

TEST(AXRole, FollowsTheNumbersThatApplicationsSend) {
    // The numbers of the protocol, so that a role missing from the enumeration shifts these. The roles of
    // ordinary widgets are looked at on a real desktop.
    const std::map<std::uint32_t, const char*> cases{
        {16, "AXWindow"},         {27, "AXImage"},       {39, "AXGroup"},
        {48, "AXScrollBar"},      {49, "AXScrollArea"},  {50, "AXSplitter"},
        {53, "AXSplitGroup"},     {55, "AXTable"},       {56, "AXCell"},
        {63, "AXToolbar"},        {65, "AXOutline"},     {67, "AXUnknown"},
        {83, "AXHeading"},        {88, "AXLink"},        {90, "AXRow"},
        {95, "AXWebArea"},        {116, "AXStaticText"}, {129, "AXMenuButton"},
        {4000000000, "AXUnknown"}};
    for (const auto& [number, role] : cases) {
        EXPECT_STREQ(axRole(static_cast<AtspiRole>(number), AtspiStates()), role) << number;
    }
}

TEST(AXRole, LooksAtTheStatesWhereTheRoleAloneDoesNotTell) {
    EXPECT_STREQ(axRole(AtspiRole::text, with(AtspiState::multiLine)), "AXTextArea");
    EXPECT_STREQ(axRole(AtspiRole::entry, with(AtspiState::editable)), "AXTextField");
    EXPECT_STREQ(axRole(AtspiRole::comboBox, with(AtspiState::editable)), "AXComboBox");
    for (std::uint32_t number = 0; number < 140; ++number) {
        const auto role = static_cast<AtspiRole>(number);
        const bool differs = axRole(role, AtspiStates(~std::uint64_t{0})) != std::string(axRole(role, {}));
        EXPECT_EQ(differs, roleDependsOnStates(role)) << number;
    }
}

}  // namespace
}  // namespace varkel
