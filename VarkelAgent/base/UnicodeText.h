#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varkel {

/// The length in bytes of the UTF-8 sequence that starts at `at`, which is before the end, or 0 when none
/// does: no overlong forms, no surrogates, nothing above U+10FFFF.
std::size_t sequenceLength(std::string_view text, std::size_t at);

bool isValidUTF8(std::string_view text);

/// The text, or the empty text when it is not valid UTF-8.
std::string validUTF8OrEmpty(std::string text);

/// The text without the blanks at its ends: the space, the tab and the other Unicode space separators. Line
/// breaks are not blanks. The text is valid UTF-8.
std::string_view trimmedOfBlanks(std::string_view text);

/// The text without the blanks and line breaks of every kind at its ends. The text is valid UTF-8.
std::string_view trimmedOfWhiteSpace(std::string_view text);

/// The text in lower case, by no language's special rules. The text is valid UTF-8.
std::string lowerCased(std::string_view text);

/// Whether `text` in lower case is `lowerCaseASCII`: what lowerCased() would tell, at less cost. Any bytes.
bool equalsIgnoringCase(std::string_view text, std::string_view lowerCaseASCII);

}  // namespace varkel
