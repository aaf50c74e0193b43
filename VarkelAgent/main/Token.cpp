#include "main/Token.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "base/FileDescriptor.h"
#include "base/UnicodeText.h"

namespace varkel {

namespace {

// Keeps a path such as /dev/zero from being read for ever.
constexpr std::size_t longestFile = 1'048'576;

[[noreturn]] void fail(int error, const std::string& path) {
    throw std::system_error(error, std::generic_category(), "cannot read the token file " + path);
}

std::string readFile(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) fail(errno, path);
    std::string text;
    std::array<char, 4'096> piece;
    while (true) {
        const ssize_t count = ::read(file.get(), piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno, path);
        if (count == 0) return text;
        text.append(piece.data(), static_cast<std::size_t>(count));
        if (text.size() > longestFile) fail(EFBIG, path);
    }
}

}  // namespace

std::string readTokenFile(const std::string& path) {
    const std::string text = readFile(path);
    if (!isValidUTF8(text)) fail(EILSEQ, path);
    return std::string(trimmedOfWhiteSpace(text));
}

std::string resolveToken(const CommandLine& line) {
    if (!line.token.empty()) return line.token;
    try {
        return readTokenFile(line.tokenFile);
    } catch (const std::system_error&) {
        return {};
    }
}

}  // namespace varkel
