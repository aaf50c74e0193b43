#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

namespace varkel {

/// A base-10 integer: an optional sign and digits, nothing else. Nothing when T cannot hold it, and for a
/// minus when T has no sign. Pure.
template <std::integral T>
std::optional<T> parseInteger(std::string_view text) {
    // std::from_chars takes no plus sign.
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    T number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return number;
}

}  // namespace varkel
