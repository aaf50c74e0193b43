#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace varkel::test {

/// An empty folder, gone at the end of the scope.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varkel-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
        path_ = pattern;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }

    const std::filesystem::path& path() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

    /// Writes a file, with the folders that lead to it, and gives its path.
    std::string write(const std::string& name, const std::string& text, mode_t mode = 0644) const {
        const auto file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
        ::chmod(file.c_str(), mode);
        return file.string();
    }

    /// Every file and link in it, with its path from here, in alphabetical order.
    std::vector<std::string> files() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
            if (!entry.is_directory()) found.push_back(entry.path().lexically_relative(path_).string());
        }
        std::sort(found.begin(), found.end());
        return found;
    }

  private:
    std::filesystem::path path_;
};

inline std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline mode_t modeOf(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777U : 0;
}

}  // namespace varkel::test
