#include "base/ReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/FileDescriptor.h"

namespace varkel {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

}  // namespace

std::error_code readFile(const std::string& path, std::size_t limit, FileKind kind, std::string& bytes) {
    if (path.find('\0') != std::string::npos) return make_error_code(std::errc::invalid_argument);
    const bool mustBeRegular = kind == FileKind::regular;
    // Opening a pipe would wait for a writer.
    const int mode = O_RDONLY | O_CLOEXEC | (mustBeRegular ? O_NONBLOCK : 0);
    const FileDescriptor file(::open(path.c_str(), mode));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) return lastError();
    const bool isRegular = S_ISREG(status.st_mode);
    if (mustBeRegular && !isRegular) return make_error_code(std::errc::invalid_argument);
    const auto size = isRegular ? static_cast<std::size_t>(status.st_size) : 0;
    if (size > limit) return make_error_code(std::errc::file_too_large);

    // One byte more than the size tells: the read that finds the end needs room, and the file may have grown.
    constexpr std::size_t smallest = 4096;
    bytes.resize(std::max(size + 1, smallest));
    std::size_t length = 0;
    while (true) {
        const ssize_t count = ::read(file.get(), bytes.data() + length, bytes.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return lastError();
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
        if (length > limit) return make_error_code(std::errc::file_too_large);
        if (length == bytes.size()) bytes.resize(2 * length);
    }
    bytes.resize(length);
    return {};
}

std::optional<std::string> readRegularFile(const std::string& path, std::size_t limit) {
    std::string bytes;
    if (readFile(path, limit, FileKind::regular, bytes)) return std::nullopt;
    return bytes;
}

}  // namespace varkel
