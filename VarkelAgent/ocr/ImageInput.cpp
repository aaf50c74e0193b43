#include "ocr/ImageInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "http/HTTPMessage.h"
#include "ocr/Base64.h"
#include "platform/FileDescriptor.h"

namespace varkel {

namespace {

/// Far beyond any picture that can be decoded.
constexpr off_t largestFile = off_t{512} << 20;

/// A regular file's content. Others are refused: reading a pipe or a terminal would wait for its writer.
std::optional<std::string> readFile(const std::string& path) {
    if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    if (status.st_size > largestFile) return std::nullopt;

    // One byte more than the size tells: the read that finds the end needs room, and the file may have grown.
    std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t length = 0;
    while (true) {
        const ssize_t count = ::read(file.get(), bytes.data() + length, bytes.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
        if (length > static_cast<std::size_t>(largestFile)) return std::nullopt;
        if (length == bytes.size()) bytes.resize(2 * length);
    }
    bytes.resize(length);
    return bytes;
}

}  // namespace

std::string resolveImageData(const std::optional<std::string>& imageBase64,
                             const std::optional<std::string>& imagePath) {
    if (imageBase64) {
        if (auto bytes = decodeBase64(*imageBase64)) return *std::move(bytes);
    }
    if (imagePath) {
        if (auto bytes = readFile(*imagePath)) return *std::move(bytes);
    }
    throw HTTPError(HTTPError::Case::badRequest);
}

}  // namespace varkel
