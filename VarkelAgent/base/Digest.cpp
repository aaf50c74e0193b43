#include "base/Digest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>

namespace varkel {

std::string hexDigest(std::string_view bytes, std::size_t count) {
    constexpr std::string_view hex = "0123456789abcdef";
    // Fetched once: looking the algorithm up costs more than hashing the short texts that ids are made of.
    static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> sha256(
        EVP_MD_fetch(nullptr, "SHA256", nullptr), &EVP_MD_free);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, sha256.get(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    count = std::min(count, digestSize);
    std::string out;
    out.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        out += hex[digest[i] >> 4];
        out += hex[digest[i] & 15];
    }
    return out;
}

}  // namespace varkel
