#include "ocr/Base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace varkel {

namespace {

constexpr std::uint32_t invalid = 1U << 24;

constexpr std::array<std::uint32_t, 256> makeValues() {
    constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint32_t, 256> values{};
    values.fill(invalid);
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint32_t>(i);
    }
    return values;
}

constexpr std::array<std::uint32_t, 256> values = makeValues();

/// The 24 bits of four characters, with the bit `invalid` set when one is none of the alphabet.
std::uint32_t group(const char* text) {
    std::uint32_t bits = 0;
    std::uint32_t marks = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::uint32_t value = values[static_cast<unsigned char>(text[i])];
        marks |= value;
        bits = bits << 6 | (value & 63);
    }
    return bits | (marks & invalid);
}

}  // namespace

std::optional<std::string> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;

    const std::size_t whole = text.size() - (padding > 0 ? 4 : 0);
    std::string bytes(whole / 4 * 3 + (padding > 0 ? 3 - padding : 0), '\0');
    char* out = bytes.data();
    std::uint32_t marks = 0;
    for (std::size_t i = 0; i < whole; i += 4) {
        const std::uint32_t bits = group(text.data() + i);
        marks |= bits;
        *out++ = static_cast<char>(bits >> 16);
        *out++ = static_cast<char>(bits >> 8);
        *out++ = static_cast<char>(bits);
    }
    if (padding > 0) {
        std::array<char, 4> last{'A', 'A', 'A', 'A'};
        for (std::size_t i = 0; i < 4 - padding; ++i) last[i] = text[whole + i];
        const std::uint32_t bits = group(last.data());
        marks |= bits;
        *out++ = static_cast<char>(bits >> 16);
        if (padding == 1) *out = static_cast<char>(bits >> 8);
    }
    if ((marks & invalid) != 0) return std::nullopt;
    return bytes;
}

}  // namespace varkel
