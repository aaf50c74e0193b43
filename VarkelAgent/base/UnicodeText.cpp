#include "base/UnicodeText.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <utility>

namespace varkel {

namespace {

using namespace std::string_view_literals;

// The space separators of Unicode (category Zs) and the tab, in UTF-8.
constexpr std::array blanks{
    " "sv,      "\t"sv,     "\u00A0"sv, "\u1680"sv, "\u2000"sv, "\u2001"sv,
    "\u2002"sv, "\u2003"sv, "\u2004"sv, "\u2005"sv, "\u2006"sv, "\u2007"sv,
    "\u2008"sv, "\u2009"sv, "\u200A"sv, "\u202F"sv, "\u205F"sv, "\u3000"sv,
};

// Line feed to carriage return, next line, and Unicode's line and paragraph separators, in UTF-8.
constexpr std::array lineBreaks{"\n"sv, "\v"sv, "\f"sv, "\r"sv, "\u0085"sv, "\u2028"sv, "\u2029"sv};

enum class Trim { blanksOnly, allWhiteSpace };

template <class Matches>
std::size_t matchLength(Trim trim, Matches matches) {
    const auto blank = std::ranges::find_if(blanks, matches);
    if (blank != blanks.end()) return blank->size();
    if (trim == Trim::blanksOnly) return 0;
    const auto lineBreak = std::ranges::find_if(lineBreaks, matches);
    return lineBreak == lineBreaks.end() ? 0 : lineBreak->size();
}

// No byte that a printable ASCII character uses starts or ends a separator of more than one byte.
bool isPrintable(char character) {
    return character > ' ' && character < '\x7f';
}

std::string_view trimmed(std::string_view text, Trim trim) {
    while (!text.empty() && !isPrintable(text.front())) {
        const auto length = matchLength(trim, [&](std::string_view mark) { return text.starts_with(mark); });
        if (length == 0) break;
        text.remove_prefix(length);
    }
    while (!text.empty() && !isPrintable(text.back())) {
        const auto length = matchLength(trim, [&](std::string_view mark) { return text.ends_with(mark); });
        if (length == 0) break;
        text.remove_suffix(length);
    }
    return text;
}

bool isASCII(char character) {
    return static_cast<unsigned char>(character) < 0x80;
}

char lowerCasedASCII(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

}  // namespace

std::size_t sequenceLength(std::string_view text, std::size_t at) {
    std::size_t next = at;
    UChar32 character = 0;
// The macro converts integers without saying so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
    U8_NEXT(text.data(), next, text.size(), character);
#pragma GCC diagnostic pop
    return character < 0 ? 0 : next - at;
}

bool isValidUTF8(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        if (isASCII(text[at])) {
            ++at;
            continue;
        }
        const std::size_t length = sequenceLength(text, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

std::string validUTF8OrEmpty(std::string text) {
    return isValidUTF8(text) ? std::move(text) : std::string();
}

std::string_view trimmedOfBlanks(std::string_view text) {
    return trimmed(text, Trim::blanksOnly);
}

std::string_view trimmedOfWhiteSpace(std::string_view text) {
    return trimmed(text, Trim::allWhiteSpace);
}

std::string lowerCased(std::string_view text) {
    std::string lower(text);
    if (std::ranges::all_of(text, isASCII)) {
        std::ranges::transform(lower, lower.begin(), lowerCasedASCII);
        return lower;
    }
    // ICU counts in 32 bits; a head is far shorter.
    const icu::StringPiece piece(text.data(), static_cast<std::int32_t>(text.size()));
    lower.clear();
    icu::UnicodeString::fromUTF8(piece).toLower(icu::Locale::getRoot()).toUTF8String(lower);
    return lower;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCaseASCII) {
    // The one character beyond ASCII that is an ASCII letter in lower case.
    constexpr std::string_view kelvinSign = "\u212A";
    for (const char wanted : lowerCaseASCII) {
        const bool isKelvin = wanted == 'k' && text.starts_with(kelvinSign);
        if (!isKelvin && (text.empty() || lowerCasedASCII(text.front()) != wanted)) return false;
        text.remove_prefix(isKelvin ? kelvinSign.size() : 1);
    }
    return text.empty();
}

}  // namespace varkel
