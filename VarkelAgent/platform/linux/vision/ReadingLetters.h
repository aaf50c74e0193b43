#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace varkel {

/// A character of a reading, with the blank before it.
struct Letter {
    std::string text;
    bool blankBefore = false;
    /// The shapes it covers: shapes[first .. first + count); count 0 where it shares one with others.
    std::size_t first = 0;
    std::size_t count = 1;

    bool is(std::string_view one) const { return text == one; }
    bool isOneOf(std::initializer_list<std::string_view> some) const {
        return std::find(some.begin(), some.end(), text) != some.end();
    }
};

/// The characters of a reading, and the reading that they make. Any thread.
std::vector<Letter> lettersOf(const std::string& text);
std::string textOf(const std::vector<Letter>& letters);

bool isDigit(const Letter& letter);
bool isSmallLetter(const Letter& letter);
/// Whether it is one of the alphabet; x, O and Q do not count, for 0x and for zeros misread in a row.
bool isLetter(const Letter& letter);
/// Whether it is a digit or one of the alphabet.
bool isAlphanumeric(const Letter& letter);
/// Whether it is a mark that words and addresses have in them.
bool isPunctuation(const Letter& letter);

}  // namespace varkel
