#include "main/PermissionCheck.h"

#include "main/Console.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

bool askForScreenCapture(TrustPrompt prompt) {
    Permissions& permissions = *Platform::current().permissions;
    if (permissions.CGPreflightScreenCaptureAccess()) return true;
    return prompt == TrustPrompt::yes && permissions.CGRequestScreenCaptureAccess();
}

const char* inWords(bool granted) {
    return granted ? "granted" : "missing";
}

}  // namespace

bool runPermissionCheck(TrustPrompt prompt, const std::string& executable) {
    Permissions& permissions = *Platform::current().permissions;
    const bool accessibility = permissions.AXIsProcessTrustedWithOptions(prompt);
    const bool screenRecording = askForScreenCapture(prompt);
    print("executable=" + executable + "\n");
    print(std::string("accessibility=") + inWords(accessibility) + "\n");
    print(std::string("screen_recording=") + inWords(screenRecording) + "\n");
    if (!accessibility) {
        print("hint_accessibility=System Settings -> Privacy & Security -> Accessibility\n");
        if (prompt == TrustPrompt::yes) openAccessibilitySettings();
    }
    if (!screenRecording) {
        print("hint_screen_recording=System Settings -> Privacy & Security -> Screen Recording\n");
        if (prompt == TrustPrompt::yes) openScreenRecordingSettings();
    }
    for (const std::string& line : permissions.describeSession()) print(line + "\n");
    return accessibility && screenRecording;
}

void openAccessibilitySettings() {
    Platform::current().permissions->openSettings(SettingsPane::accessibility);
}

void openScreenRecordingSettings() {
    Platform::current().permissions->openSettings(SettingsPane::screenRecording);
}

}  // namespace varkel
