#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varkel {

/// Bytes of a SHA-256 digest.
inline constexpr std::size_t digestSize = 32;

/// The first `count` bytes, at most digestSize, of the SHA-256 digest of `bytes`, as lower-case hexadecimal
/// digits. Throws std::runtime_error when the algorithm is not available. Any thread.
std::string hexDigest(std::string_view bytes, std::size_t count = digestSize);

}  // namespace varkel
