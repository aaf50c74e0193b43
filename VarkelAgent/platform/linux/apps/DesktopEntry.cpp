#include "platform/linux/apps/DesktopEntry.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>

#include "base/ReadFile.h"
#include "base/UnicodeText.h"

namespace varkel {

namespace {

constexpr std::string_view suffix = ".desktop";
/// A larger file is no entry.
constexpr std::size_t maxEntrySize = 1 << 20;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// The escapes of a string value: \s, \n, \t, \r and \\.
std::string unescaped(std::string_view value) {
    std::string out;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] != '\\' || at + 1 == value.size()) {
            out += value[at];
            continue;
        }
        switch (value[++at]) {
            case 's':
                out += ' ';
                break;
            case 'n':
                out += '\n';
                break;
            case 't':
                out += '\t';
                break;
            case 'r':
                out += '\r';
                break;
            case '\\':
                out += '\\';
                break;
            default:
                out += {'\\', value[at]};
                break;
        }
    }
    return out;
}

using Keys = std::map<std::string, std::string, std::less<>>;

/// The keys of the one group that describes the application itself.
Keys readMainGroup(std::string_view text) {
    Keys keys;
    bool inGroup = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.starts_with('[')) {
            inGroup = line == "[Desktop Entry]";
        } else if (const auto equals = line.find('=');
                   inGroup && equals != std::string_view::npos && line[0] != '#') {
            keys.emplace(trimmed(line.substr(0, equals)), unescaped(trimmed(line.substr(equals + 1))));
        }
    }
    return keys;
}

std::string value(const Keys& keys, std::string_view key) {
    const auto found = keys.find(key);
    return found == keys.end() ? std::string() : found->second;
}

bool isExecutable(const std::string& program) {
    if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
    const char* path = std::getenv("PATH");
    std::istringstream directories(path == nullptr ? "/usr/local/bin:/usr/bin:/bin" : path);
    for (std::string directory; std::getline(directories, directory, ':');) {
        if (access((directory + "/" + program).c_str(), X_OK) == 0) return true;
    }
    return false;
}

std::vector<std::string> dataDirectories() {
    std::vector<std::string> directories;
    const char* own = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    if (own != nullptr && *own == '/') {
        directories.emplace_back(own);
    } else if (home != nullptr) {
        directories.push_back(std::string(home) + "/.local/share");
    }
    const char* shared = std::getenv("XDG_DATA_DIRS");
    std::istringstream list(shared == nullptr || *shared == 0 ? "/usr/local/share:/usr/share" : shared);
    for (std::string directory; std::getline(list, directory, ':');) {
        if (directory.starts_with('/')) directories.push_back(directory);
    }
    return directories;
}

/// Each dash of an identifier may stand for a folder: "kde-konsole" is also "kde/konsole.desktop".
std::optional<std::string> findFile(const std::string& directory, std::string_view rest) {
    const std::string direct = directory + "/" + std::string(rest) + std::string(suffix);
    std::error_code error;
    if (std::filesystem::is_regular_file(direct, error)) return direct;
    for (auto dash = rest.find('-'); dash != std::string_view::npos; dash = rest.find('-', dash + 1)) {
        const std::string below = directory + "/" + std::string(rest.substr(0, dash));
        if (dash == 0 || !std::filesystem::is_directory(below, error)) continue;
        if (auto found = findFile(below, rest.substr(dash + 1))) return found;
    }
    return std::nullopt;
}

/// The identifiers of all entries in a folder and the folders below it, in order.
std::vector<std::string> identifiersBelow(const std::filesystem::path& root) {
    std::vector<std::string> identifiers;
    std::error_code error;
    constexpr auto options = std::filesystem::directory_options::skip_permission_denied;
    for (std::filesystem::recursive_directory_iterator file(root, options, error), end; !error && file != end;
         file.increment(error)) {
        std::string id = file->path().lexically_relative(root).string();
        if (!id.ends_with(suffix)) continue;
        id.resize(id.size() - suffix.size());
        std::ranges::replace(id, '/', '-');
        identifiers.push_back(std::move(id));
    }
    std::ranges::sort(identifiers);
    return identifiers;
}

}  // namespace

std::optional<std::vector<std::string>> splitCommand(std::string_view command) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (std::size_t at = 0; at < command.size(); ++at) {
        const char c = command[at];
        if (quoted && c == '\\' && at + 1 < command.size()) {
            word += command[++at];
        } else if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (c == ' ' || c == '\t' || c == '\n')) {
            if (inWord) words.push_back(std::move(word));
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quoted) return std::nullopt;
    if (inWord) words.push_back(std::move(word));
    return words;
}

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text) {
    const Keys keys = readMainGroup(text);
    if (value(keys, "Type") != "Application" || value(keys, "Hidden") == "true") return std::nullopt;
    auto command = splitCommand(value(keys, "Exec"));
    if (!command || command->empty()) return std::nullopt;

    DesktopEntry entry;
    entry.name = value(keys, "Name");
    entry.command = std::move(*command);
    entry.workingDirectory = value(keys, "Path");
    entry.windowClass = value(keys, "StartupWMClass");
    entry.runsInTerminal = value(keys, "Terminal") == "true";
    const std::string needed = value(keys, "TryExec");
    if (!needed.empty() && !isExecutable(needed)) return std::nullopt;
    return entry;
}

std::vector<std::string> expandFieldCodes(const DesktopEntry& entry) {
    std::vector<std::string> words;
    for (const std::string& word : entry.command) {
        // The codes for files, and the one for an icon, stand alone and vanish with nothing to fill them.
        if (word.size() == 2 && word[0] == '%' && std::string_view("fFuUdDnNickvm").find(word[1]) < 13) {
            if (word[1] == 'c') words.push_back(entry.name);
            if (word[1] == 'k') words.push_back(entry.path);
            continue;
        }
        std::string out;
        for (std::size_t at = 0; at < word.size(); ++at) {
            if (word[at] != '%' || at + 1 == word.size()) {
                out += word[at];
                continue;
            }
            const char code = word[++at];
            if (code == '%') out += '%';
            if (code == 'c') out += entry.name;
            if (code == 'k') out += entry.path;
        }
        words.push_back(std::move(out));
    }
    return words;
}

std::optional<DesktopEntry> readDesktopEntry(const std::string& path) {
    const auto text = readRegularFile(path, maxEntrySize);
    if (!text) return std::nullopt;
    auto entry = parseDesktopEntry(*text);
    if (!entry) return std::nullopt;
    entry->path = path;
    entry->id = std::filesystem::path(path).stem().string();
    return entry;
}

std::optional<DesktopEntry> findDesktopEntry(std::string_view id) {
    if (id.ends_with(suffix)) id.remove_suffix(suffix.size());
    if (id.empty() || id.starts_with('.') ||
        id.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) {
        return std::nullopt;
    }
    for (const std::string& directory : dataDirectories()) {
        const auto path = findFile(directory + "/applications", id);
        if (!path) continue;
        // The first one counts, also when it says that the application is not to be had.
        auto entry = readDesktopEntry(*path);
        if (entry) entry->id = id;
        return entry;
    }
    return std::nullopt;
}

std::optional<DesktopEntry> findDesktopEntryByName(std::string_view name) {
    if (name.empty() || !isValidUTF8(name)) return std::nullopt;
    const std::string wanted = lowerCased(name);
    for (const std::string& directory : dataDirectories()) {
        const std::filesystem::path root = directory + "/applications";
        for (const std::string& id : identifiersBelow(root)) {
            auto entry = findDesktopEntry(id);
            if (entry && isValidUTF8(entry->name) && lowerCased(entry->name) == wanted) return entry;
        }
    }
    return std::nullopt;
}

}  // namespace varkel
