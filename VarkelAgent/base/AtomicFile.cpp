#include "base/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "base/FileDescriptor.h"

namespace varkel {

namespace {

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), "cannot write " + path);
}

/// A name for mkostemp() in the same folder.
std::string hiddenBeside(const std::string& target) {
    const std::size_t name = target.rfind('/') + 1;
    return target.substr(0, name) + "." + target.substr(name) + ".XXXXXX";
}

/// A temporary file; removed at the end unless it has taken its place.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& target) : path_(hiddenBeside(target)) {
        // Made with mode 0600.
        file_.reset(::mkostemp(path_.data(), O_CLOEXEC));
        if (file_) return;
        path_.clear();
        fail(target);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!path_.empty()) ::unlink(path_.c_str());
    }

    int descriptor() const { return file_.get(); }

    bool rename(const std::string& target) {
        if (::rename(path_.c_str(), target.c_str()) != 0) return false;
        path_.clear();
        return true;
    }

  private:
    std::string path_;
    FileDescriptor file_;
};

bool writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

/// The new name lasts only once its folder is on the disk. Some file systems cannot do that for a folder, and
/// the file is whole either way.
void syncFolder(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    const FileDescriptor opened(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened) ::fsync(opened.get());
}

}  // namespace

void writeFileAtomically(const std::string& path, std::string_view bytes, mode_t mode) {
    TemporaryFile file(path);
    if (::fchmod(file.descriptor(), mode) != 0) fail(path);
    if (!writeAll(file.descriptor(), bytes)) fail(path);
    if (::fsync(file.descriptor()) != 0) fail(path);
    if (!file.rename(path)) fail(path);
    syncFolder(path);
}

}  // namespace varkel
