#pragma once

#include <openssl/crypto.h>

#include <string_view>

namespace varkel {

/// Whether two texts are the same. Takes as long for every text that has the length of the other, so that the
/// time does not tell how much of a secret was guessed.
inline bool equalsInConstantTime(std::string_view text, std::string_view secret) {
    return text.size() == secret.size() && CRYPTO_memcmp(text.data(), secret.data(), secret.size()) == 0;
}

}  // namespace varkel
