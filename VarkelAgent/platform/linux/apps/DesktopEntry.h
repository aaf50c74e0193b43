#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varkel {

/// An installed application, as its desktop entry describes it.
struct DesktopEntry {
    /// Its identifier: the entry's name among the installed ones, without ".desktop".
    std::string id;
    /// The file that it was read from.
    std::string path;
    std::string name;
    /// The command to run, split into words, with the field codes left in.
    std::vector<std::string> command;
    std::string workingDirectory;
    std::string windowClass;
    bool runsInTerminal = false;
};

/// Reads an entry's text; nothing when it is not a launchable application. Pure.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text);

/// The words of a command as desktop entries quote them, or nothing when a quotation does not end. Pure.
std::optional<std::vector<std::string>> splitCommand(std::string_view command);

/// The command to run when no file is to be opened: field codes are filled in or left out. Pure.
std::vector<std::string> expandFieldCodes(const DesktopEntry& entry);

/// The entry with this identifier (with or without ".desktop") among those installed for the user and on the
/// system. Reads files.
std::optional<DesktopEntry> findDesktopEntry(std::string_view id);

/// The entry with this name, as menus show it, in any letter case. An identifier that an entry for the user
/// takes hides the system's. Reads files.
std::optional<DesktopEntry> findDesktopEntryByName(std::string_view name);

/// The entry in this file. Its identifier is the file's name. Reads the file.
std::optional<DesktopEntry> readDesktopEntry(const std::string& path);

}  // namespace varkel
