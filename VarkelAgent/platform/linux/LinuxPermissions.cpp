#include "platform/linux/LinuxPermissions.h"

#include <array>
#include <cstdlib>
#include <iterator>
#include <span>

#include "platform/ChildProcess.h"
#include "platform/linux/apps/DesktopEntry.h"
#include "platform/posix/ProgramPath.h"

namespace varkel {

namespace {

constexpr std::array<const char*, 5> accessibilityEntries{
    "gnome-universal-access-panel", "kcm_access", "cinnamon-settings-universal-access",
    "xfce4-accessibility-settings", "mate-at-properties"};
constexpr std::array<const char*, 3> privacyEntries{"gnome-privacy-panel", "gnome-screen-panel",
                                                    "cinnamon-settings-privacy"};

std::span<const char* const> entriesFor(SettingsPane pane) {
    if (pane == SettingsPane::accessibility) return accessibilityEntries;
    return privacyEntries;
}

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

/// Starts the entry's program and leaves it alone; false when there is none to start.
bool launch(const DesktopEntry& entry) {
    const std::vector<std::string> words = expandFieldCodes(entry);
    ChildCommand command;
    command.executable = resolveProgram(words.front());
    command.arguments.assign(std::next(words.begin()), words.end());
    command.output = ChildCommand::Output::discard;
    command.newSession = true;
    try {
        ChildProcess(std::move(command)).detach();
        return true;
    } catch (const LaunchError&) {
        return false;
    }
}

}  // namespace

bool LinuxPermissions::AXIsProcessTrustedWithOptions(TrustPrompt prompt) {
    if (bus_.isReachable()) return true;
    if (prompt == TrustPrompt::no) return false;
    bus_.turnStatusOn();
    return bus_.isReachable();
}

void LinuxPermissions::openSettings(SettingsPane pane) {
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) return;
    for (const char* id : entriesFor(pane)) {
        const auto entry = findDesktopEntry(id);
        if (entry && !expandFieldCodes(*entry).empty() && launch(*entry)) return;
    }
}

}  // namespace varkel
