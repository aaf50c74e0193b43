#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace varkel {

/// The names of the program that a process runs and, where that is an interpreter, of what it interprets.
struct ProgramNames {
    std::string program;
    std::string script;
};

/// Empty where the system does not tell.
ProgramNames programNamesOf(pid_t process);

/// A window as the accessibility bus has it, with its process.
struct OwnedWindow {
    pid_t process = 0;
    ProgramNames programs;
    std::string title;
    bool active = false;
};

/// The process that a window of a compositor's list belongs to: that of the accessible window with its title,
/// else of the program that its application is called after. `activated`: whether it has the keyboard, and
/// the accessible one is active. Nothing when none fits, or several do equally. Pure.
std::optional<pid_t> ownerOf(const std::string& title, const std::string& applicationId, bool activated,
                             const std::vector<OwnedWindow>& windows);

}  // namespace varkel
