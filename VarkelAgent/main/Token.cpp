#include "main/Token.h"

#include <system_error>

#include "base/ReadFile.h"
#include "base/UnicodeText.h"

namespace varkel {

namespace {

// Keeps a path such as /dev/zero from being read for ever.
constexpr std::size_t longestFile = 1'048'576;

[[noreturn]] void fail(std::error_code error, const std::string& path) {
    throw std::system_error(error, "cannot read the token file " + path);
}

}  // namespace

std::string readTokenFile(const std::string& path) {
    std::string text;
    if (const auto error = readFile(path, longestFile, FileKind::any, text)) fail(error, path);
    if (!isValidUTF8(text)) fail(make_error_code(std::errc::illegal_byte_sequence), path);
    return std::string(trimmedOfWhiteSpace(text));
}

std::string resolveToken(const TokenSource& source) {
    if (!source.token.empty()) return source.token;
    try {
        return readTokenFile(source.tokenFile);
    } catch (const std::system_error&) {
        return {};
    }
}

}  // namespace varkel
