#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

namespace varkel::mcp {

/// How many characters (code points) a text has. Any thread, like all of these.
std::size_t countCharacters(std::string_view text);

/// The text as a single quoted line: quotes, line breaks and control characters are escaped, so that what
/// stands on the screen cannot look like a line of ours. Of more than `longest` characters the first ones,
/// and how many there are.
std::string quoted(std::string_view text, std::size_t longest);

/// A role or an id, which are plain words: of anything else the first characters, with question marks for
/// what is no printable ASCII.
std::string plainWord(std::string_view text);

/// The first `longest` characters of a text, and how many were left out.
std::string shortened(std::string_view text, std::size_t longest);

namespace concatenation {

inline void append(std::string& out, std::string_view part) {
    out += part;
}

template <std::integral T>
void append(std::string& out, T number) {
    out += std::to_string(number);
}

}  // namespace concatenation

/// Texts and numbers, one after the other.
template <class... Parts>
std::string concat(const Parts&... parts) {
    std::string out;
    (concatenation::append(out, parts), ...);
    return out;
}

/// 1234567 as "1,234,567".
std::string withCommas(std::size_t number);

/// Whether `text` contains `part`, whatever the case of the letters A to Z.
bool containsIgnoringCase(std::string_view text, std::string_view part);

}  // namespace varkel::mcp
