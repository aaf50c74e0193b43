#include "mcp/Text.h"

#include <algorithm>
#include <array>

namespace varkel::mcp {

namespace {

bool startsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0u) != 0x80u;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    if (text.size() <= count) return text;
    std::size_t seen = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (startsCharacter(text[i]) && seen++ == count) return text.substr(0, i);
    }
    return text;
}

void appendEscaped(std::string& out, char character) {
    constexpr std::array hexadecimal{'0', '1', '2', '3', '4', '5', '6', '7',
                                     '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
        out += "\\n";
    } else if (character == '\t') {
        out += "\\t";
    } else if (character == '"' || character == '\\') {
        out += '\\';
        out += character;
    } else if (byte < 0x20 || byte == 0x7F) {
        out += "\\x";
        out += hexadecimal[byte >> 4];
        out += hexadecimal[byte & 15];
    } else {
        out += character;
    }
}

char lowerCased(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::size_t countCharacters(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, startsCharacter));
}

std::string quoted(std::string_view text, std::size_t longest) {
    const std::string_view shown = firstCharacters(text, longest);
    std::string out = "\"";
    for (const char character : shown) appendEscaped(out, character);
    out += '"';
    if (shown.size() < text.size()) {
        out += concat("… (", withCommas(countCharacters(text)), " characters)");
    }
    return out;
}

std::string plainWord(std::string_view text) {
    constexpr std::size_t longestWord = 40;
    std::string word(text.substr(0, longestWord));
    std::ranges::replace_if(
        word, [](char c) { return c <= ' ' || c > '~'; }, '?');
    return word;
}

std::string shortened(std::string_view text, std::size_t longest) {
    const std::string_view shown = firstCharacters(text, longest);
    if (shown.size() == text.size()) return std::string(text);
    return concat(shown, "\n… ", withCommas(countCharacters(text.substr(shown.size()))),
                  " more characters are left out.");
}

std::string withCommas(std::size_t number) {
    const std::string digits = std::to_string(number);
    std::string out;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
        out += digits[i];
    }
    return out;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    const auto same = [](char a, char b) { return lowerCased(a) == lowerCased(b); };
    return part.empty() ||
           std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

}  // namespace varkel::mcp
