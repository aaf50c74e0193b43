#include "overlay/DisplayText.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <array>
#include <cstdio>
#include <utility>

#include "base/Graphemes.h"
#include "base/UnicodeText.h"

namespace varkel::overlay {

namespace {

/// A paragraph of the length of a whole text keeps the screen for minutes.
constexpr std::size_t longestLine = 62;

/// Calls `take` with each code point; bytes that are no UTF-8 become U+FFFD.
template <class Take>
void forEachCodePoint(std::string_view text, Take take) {
    const std::u16string units = utf16(text);
    const icu::UnicodeString characters(false, units.data(), static_cast<std::int32_t>(units.size()));
    for (std::int32_t at = 0; at < characters.length(); at = characters.moveIndex32(at, 1)) {
        take(characters.char32At(at));
    }
}

void append(std::string& out, UChar32 character) {
    icu::UnicodeString(character).toUTF8String(out);
}

/// Controls, and what steers how others are shown: directions, joiners, line and paragraph separators.
bool isInvisible(UChar32 character) {
    const auto mask = U_GET_GC_MASK(character);
    return (mask & (U_GC_CC_MASK | U_GC_CF_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK | U_GC_CS_MASK | U_GC_CO_MASK |
                    U_GC_CN_MASK)) != 0;
}

/// Counts the marks over and under one character: thousands of them take a minute to be drawn.
class MarkCount {
  public:
    bool isTooMany(UChar32 character) {
        const bool isMark = (U_GET_GC_MASK(character) & U_GC_M_MASK) != 0;
        count_ = isMark ? count_ + 1 : 0;
        return count_ > most;
    }

  private:
    static constexpr std::size_t most = 4;
    std::size_t count_ = 0;
};

/// Puts characters together to lines that fit into the prompt, which need not be broken there with hyphens
/// that are not in the text.
class Lines {
  public:
    void add(UChar32 character) {
        if (character == '\n') return end("\n");
        const std::size_t width = widthOf(character);
        if (width_ + width > longestLine) breakLine();
        append(line_, character);
        width_ += width;
        if (character != ' ') return;
        breakAt_ = line_.size();
        widthAtBreak_ = width_;
    }

    std::string take() && {
        end("");
        return std::move(lines_);
    }

  private:
    static std::size_t widthOf(UChar32 character) {
        constexpr std::size_t tab = 8;
        if (character == '\t') return tab;
        if ((U_GET_GC_MASK(character) & U_GC_M_MASK) != 0) return 0;
        const auto width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
        return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
    }

    /// After the last blank, or else where it is full.
    void breakLine() {
        std::string rest = breakAt_ > 0 ? line_.substr(breakAt_) : std::string();
        const std::size_t width = breakAt_ > 0 ? width_ - widthAtBreak_ : 0;
        line_.resize(breakAt_ > 0 ? breakAt_ : line_.size());
        end("\n↪ ");
        line_ = std::move(rest);
        width_ = width;
    }

    void end(std::string_view ending) {
        lines_ += line_;
        lines_ += ending;
        line_.clear();
        width_ = breakAt_ = widthAtBreak_ = 0;
    }

    std::string lines_;
    std::string line_;
    std::size_t width_ = 0;
    std::size_t breakAt_ = 0;
    std::size_t widthAtBreak_ = 0;
};

}  // namespace

std::string oneLine(std::string_view text, std::size_t longest) {
    std::string line;
    bool blank = false;
    MarkCount marks;
    forEachCodePoint(text, [&](UChar32 character) {
        if (marks.isTooMany(character)) return;
        if (u_isUWhiteSpace(character) != 0 || isInvisible(character)) {
            blank = !line.empty();
            return;
        }
        if (std::exchange(blank, false)) line += ' ';
        append(line, character == '"' ? '\'' : character);
    });
    const auto characters = graphemeClusters(line);
    if (characters.size() <= longest) return line;
    std::string cut;
    for (std::size_t i = 0; i + 1 < longest; ++i) cut += characters[i];
    return cut + "…";
}

std::string inQuotes(std::string_view text, std::size_t longest) {
    return '"' + oneLine(text, longest) + '"';
}

std::string visible(std::string_view text) {
    Lines lines;
    MarkCount marks;
    forEachCodePoint(text, [&](UChar32 character) {
        const bool isShown = character == '\n' || character == '\t' ||
                             (!isInvisible(character) && !marks.isTooMany(character));
        if (isShown) return lines.add(character);
        std::array<char, 16> number{};
        std::snprintf(number.data(), number.size(), "⟨%04X⟩", static_cast<unsigned>(character));
        forEachCodePoint(number.data(), [&](UChar32 each) { lines.add(each); });
    });
    return std::move(lines).take();
}

}  // namespace varkel::overlay
