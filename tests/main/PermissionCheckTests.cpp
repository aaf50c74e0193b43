#include <gmock/gmock.h>

#include <memory>

#include "main/PermissionCheck.h"
#include "support/FakeDesktop.h"
#include "support/FakePermissions.h"

namespace varkel {
namespace {

TEST(PermissionCheck, PrintsWhatIsGrantedAndAsksForTheRestOnlyWithAPrompt) {
    using enum TrustPrompt;
    const struct {
        TrustPrompt prompt;
        bool accessibility, screen, screenAfterAsking, screenInTheEnd;
        std::vector<std::string> asked;
    } cases[] = {
        {yes, true, true, false, true, {"trusted? prompt", "screen?"}},
        {no, true, true, false, true, {"trusted?", "screen?"}},
        {no, true, false, true, false, {"trusted?", "screen?"}},
        {yes, true, false, true, true, {"trusted? prompt", "screen?", "request screen"}},
        {no, false, true, false, true, {"trusted?", "screen?"}},
        {yes,
         false,
         false,
         false,
         false,
         {"trusted? prompt", "screen?", "request screen", "open accessibility", "open screen recording"}},
        {no, false, false, false, false, {"trusted?", "screen?"}}};
    const auto found = [](bool granted) { return granted ? "granted\n" : "missing\n"; };
    for (const auto& c : cases) {
        test::FakeDesktop desktop;
        auto owned = std::make_unique<test::FakePermissions>();
        test::FakePermissions& permissions = *owned;
        Platform::current().permissions = std::move(owned);
        permissions.accessibility = c.accessibility;
        permissions.screen = c.screen;
        permissions.screenAfterAsking = c.screenAfterAsking;
        std::string output = "executable=/x/varkel-agent\n";
        output.append("accessibility=").append(found(c.accessibility));
        output.append("screen_recording=").append(found(c.screenInTheEnd));
        if (!c.accessibility)
            output += "hint_accessibility=System Settings -> Privacy & Security -> Accessibility\n";
        if (!c.screenInTheEnd)
            output += "hint_screen_recording=System Settings -> Privacy & Security -> Screen Recording\n";
        testing::internal::CaptureStdout();
        const bool result = runPermissionCheck(c.prompt, "/x/varkel-agent");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), output);
        EXPECT_EQ(result, c.accessibility && c.screenInTheEnd) << output;
        EXPECT_EQ(permissions.asked, c.asked) << output;
    }
}

}  // namespace
}  // namespace varkel
