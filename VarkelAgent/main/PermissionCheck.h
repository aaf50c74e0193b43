#pragma once

#include <stdexcept>
#include <string>

#include "platform/Permissions.h"

namespace varkel {

/// The person has not granted the accessibility permission.
struct PermissionMissing : std::runtime_error {
    PermissionMissing() : std::runtime_error("ax_permission_missing") {}
};

/// Prints which permissions the agent has, a name=value pair per line, and where the missing ones are
/// granted, then what the desktop says of this session. With a prompt, the desktop is asked for what is
/// missing and its settings are opened. Gives true when nothing is missing. `executable` is what the first
/// line names. Blocks within the desktop's deadlines; any thread.
bool runPermissionCheck(TrustPrompt prompt, const std::string& executable);

/// Opens the desktop's settings where the permission is granted. Does not wait for them.
void openAccessibilitySettings();
void openScreenRecordingSettings();

}  // namespace varkel
