#include <gmock/gmock.h>

#include <memory>

#include "main/PermissionCheck.h"
#include "support/FakeDesktop.h"
#include "support/FakePermissions.h"

namespace varkel {
namespace {

using test::FakePermissions;

TEST(PermissionCheck, PrintsWhatIsGrantedAndAsksForTheRestOnlyWithAPrompt) {
    const std::string accessibilityHint =
        "hint_accessibility=System Settings -> Privacy & Security -> Accessibility\n";
    const std::string screenHint =
        "hint_screen_recording=System Settings -> Privacy & Security -> Screen Recording\n";
    struct Case {
        TrustPrompt prompt;
        bool accessibility, screen, afterAsking;
        std::string output;
        std::vector<std::string> asked;
        bool result;
    };
    const std::string program = "executable=/x/varkel-agent\n";
    const std::vector<Case> cases{
        {TrustPrompt::yes,
         true,
         true,
         false,
         "accessibility=granted\nscreen_recording=granted\n",
         {"trusted? prompt", "screen?"},
         true},
        {TrustPrompt::no,
         true,
         true,
         false,
         "accessibility=granted\nscreen_recording=granted\n",
         {"trusted?", "screen?"},
         true},
        {TrustPrompt::no,
         true,
         false,
         true,
         "accessibility=granted\nscreen_recording=missing\n" + screenHint,
         {"trusted?", "screen?"},
         false},
        {TrustPrompt::yes,
         true,
         false,
         true,
         "accessibility=granted\nscreen_recording=granted\n",
         {"trusted? prompt", "screen?", "request screen"},
         true},
        {TrustPrompt::no,
         false,
         true,
         false,
         "accessibility=missing\nscreen_recording=granted\n" + accessibilityHint,
         {"trusted?", "screen?"},
         false},
        {TrustPrompt::yes,
         false,
         false,
         false,
         "accessibility=missing\nscreen_recording=missing\n" + accessibilityHint + screenHint,
         {"trusted? prompt", "screen?", "request screen", "open accessibility", "open screen recording"},
         false},
        {TrustPrompt::no,
         false,
         false,
         false,
         "accessibility=missing\nscreen_recording=missing\n" + accessibilityHint + screenHint,
         {"trusted?", "screen?"},
         false},
    };
    for (const Case& c : cases) {
        test::FakeDesktop desktop;
        auto owned = std::make_unique<FakePermissions>();
        FakePermissions& permissions = *owned;
        Platform::current().permissions = std::move(owned);
        permissions.accessibility = c.accessibility;
        permissions.screen = c.screen;
        permissions.screenAfterAsking = c.afterAsking;
        testing::internal::CaptureStdout();
        const bool result = runPermissionCheck(c.prompt, "/x/varkel-agent");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), program + c.output);
        EXPECT_EQ(result, c.result) << c.output;
        EXPECT_EQ(permissions.asked, c.asked) << c.output;
    }
}

}  // namespace
}  // namespace varkel
