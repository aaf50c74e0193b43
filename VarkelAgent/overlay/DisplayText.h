#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varkel::overlay {

// Texts of applications and callers as a prompt may show them: as data, without characters that cannot be
// seen. Any thread.

/// One line of at most this many characters, without blanks at its ends and without several in a row. A
/// longer one ends with an ellipsis; straight quotation marks become apostrophes.
std::string oneLine(std::string_view text, std::size_t longest);

/// That line in straight quotation marks.
std::string inQuotes(std::string_view text, std::size_t longest = 60);

/// A text of others with its lines, where characters that cannot be seen, or that turn the order of others
/// round, are replaced by their numbers. Lines of more than 62 columns go on in the next one, after an
/// arrow.
std::string visible(std::string_view text);

}  // namespace varkel::overlay
