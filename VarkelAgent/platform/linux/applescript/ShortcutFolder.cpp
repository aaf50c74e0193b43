#include "platform/linux/applescript/ShortcutFolder.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <utility>

#include "base/Environment.h"
#include "base/UnicodeText.h"

namespace varkel {

namespace {

bool canBeListed(const std::string& name) {
    return isValidUTF8(name) && name.find_first_of("\n\r") == std::string::npos;
}

}  // namespace

std::string ShortcutFolder::defaultPath() {
    const auto& variables = environment();
    const auto config = variables.find("XDG_CONFIG_HOME");
    const bool isSet = config != variables.end() && config->second.starts_with('/');
    return (isSet ? config->second : homeDirectory(variables) + "/.config") + "/varkel/shortcuts";
}

std::vector<ShortcutFolder::Entry> ShortcutFolder::entries() const {
    std::vector<Entry> found;
    std::error_code error;
    for (std::filesystem::directory_iterator file(path_, error), end; !error && file != end;
         file.increment(error)) {
        const std::string name = file->path().stem().string();
        std::error_code unreadable;
        const bool isFile = file->is_regular_file(unreadable);
        if (name.empty() || name.starts_with('.') || !isFile || access(file->path().c_str(), X_OK) != 0)
            continue;
        found.push_back({name, file->path().string()});
    }
    std::ranges::sort(found, {}, [](const Entry& entry) { return std::tie(entry.name, entry.file); });
    return found;
}

std::vector<std::string> ShortcutFolder::names() const {
    std::vector<std::string> names;
    for (Entry& entry : entries()) {
        if (canBeListed(entry.name) && (names.empty() || names.back() != entry.name))
            names.push_back(std::move(entry.name));
    }
    return names;
}

std::optional<std::string> ShortcutFolder::find(std::string_view name) const {
    for (Entry& entry : entries()) {
        if (entry.name == name) return std::move(entry.file);
    }
    return std::nullopt;
}

}  // namespace varkel
