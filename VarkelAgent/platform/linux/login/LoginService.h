#pragma once

#include <string>

namespace varkel {

/// Makes the program of a property list start at login, and where a user manager of systemd answers, at once:
/// as a unit of that manager, otherwise as an entry of the desktop's autostart folder. Gives what was done,
/// for a person. Throws LoginItemError, or std::system_error when a file cannot be written; then nothing of
/// it stays. Blocks, within deadlines.
std::string loadLoginItem(const std::string& propertyListPath);

/// Undoes loadLoginItem(): stops the unit and removes what was written, and nothing else. Gives what was
/// done, which is empty when there was nothing to undo. Throws and blocks like it; when the manager does not
/// reload, all files are gone before that is thrown.
std::string unloadLoginItem(const std::string& propertyListPath);

/// Becomes the program of a property list, with its environment and its logs. Returns only by throwing:
/// LoginItemError or std::system_error.
[[noreturn]] void runLoginItem(const std::string& propertyListPath);

}  // namespace varkel
