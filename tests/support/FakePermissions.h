#pragma once

#include <string>
#include <vector>

#include "platform/Permissions.h"

namespace varkel::test {

/// Permissions that the test decides about, with a list of what was asked.
class FakePermissions : public Permissions {
  public:
    bool AXIsProcessTrustedWithOptions(TrustPrompt prompt) override {
        asked.push_back(prompt == TrustPrompt::yes ? "trusted? prompt" : "trusted?");
        return accessibility;
    }
    bool CGPreflightScreenCaptureAccess() override {
        asked.push_back("screen?");
        return screen;
    }
    bool CGRequestScreenCaptureAccess() override {
        asked.push_back("request screen");
        return screenAfterAsking;
    }
    void openSettings(SettingsPane pane) override {
        asked.push_back(pane == SettingsPane::accessibility ? "open accessibility" : "open screen recording");
    }

    bool accessibility = false;
    bool screen = false;
    bool screenAfterAsking = false;
    std::vector<std::string> asked;
};

}  // namespace varkel::test
