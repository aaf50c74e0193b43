#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varkel {

/// The user-perceived characters (extended grapheme clusters) of a UTF-8 text, in order, as views into it.
/// Bytes that are not UTF-8 count as characters of their own kind. Any thread.
std::vector<std::string_view> graphemeClusters(std::string_view text);

/// The text as UTF-16; invalid bytes become U+FFFD. Any thread.
std::u16string utf16(std::string_view text);

}  // namespace varkel
