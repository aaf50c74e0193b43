#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varkel {

/// A person's Shortcuts: the executable files in one folder, each named for its file without the extension.
/// Of files with the same name the first one by its whole file name counts. Hidden files do not.
class ShortcutFolder {
  public:
    explicit ShortcutFolder(std::string path) : path_(std::move(path)) {}

    /// The folder of the person who runs this process: varkel/shortcuts below $XDG_CONFIG_HOME, or below
    /// ~/.config.
    static std::string defaultPath();

    /// The names, sorted. Empty when there is no such folder. What no line of text can hold is left out.
    std::vector<std::string> names() const;

    /// The file of the Shortcut with this name. None has a name with a slash, a leading dot, or nothing in
    /// it.
    std::optional<std::string> find(std::string_view name) const;

  private:
    struct Entry {
        std::string name;
        std::string file;
    };
    std::vector<Entry> entries() const;

    std::string path_;
};

}  // namespace varkel
