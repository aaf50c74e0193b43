#include "platform/linux/vision/ReadingRepair.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/linux/vision/GlyphAlignment.h"
#include "platform/linux/vision/GlyphShapes.h"

namespace varkel {

namespace {

/// Readings above this are changed only where shapes and characters match one to one.
constexpr float sure = 0.93F;

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

std::vector<Letter> lettersOf(const std::string& text) {
    std::vector<Letter> letters;
    bool blank = false;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t end = i + 1;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
        if (text[i] == ' ') {
            blank = true;
        } else {
            letters.push_back({text.substr(i, end - i), blank && !letters.empty(), 0, 1});
            blank = false;
        }
        i = end;
    }
    return letters;
}

std::string textOf(const std::vector<Letter>& letters) {
    std::string text;
    for (const Letter& letter : letters) {
        if (letter.blankBefore) text += ' ';
        text += letter.text;
    }
    return text;
}

bool isDigit(const Letter& letter) {
    return letter.text.size() == 1 && letter.text[0] >= '0' && letter.text[0] <= '9';
}

class Repair {
  public:
    Repair(std::vector<Letter> letters, const LinePlane& line, float inkLevel)
        : letters_(std::move(letters)), line_(line), shapes_(cutGlyphs(line, inkLevel)) {
        top_ = line.height;
        for (const GlyphShape& shape : shapes_) top_ = std::min(top_, shape.box.y0);
        capHeight_ = std::max(1, line.baseline - top_);
    }

    /// The corrected text, or nothing when shapes and letters do not match.
    std::optional<std::string> run() {
        if (!match() || !isAligned()) return std::nullopt;
        auto cells = fixedPitchCells(shapes_, capHeight_);
        if (cells && !agrees(*cells)) cells.reset();
        if (cells) {
            setBlanksByCells(*cells);
        } else {
            setBlanksByGaps();
        }
        repairLetters(cells.has_value());
        return textOf(letters_);
    }

    /// As run() where letters touch, for what stands apart from them; nothing when that is doubtful as well.
    std::optional<std::string> runLoosely() {
        const auto shares = alignGlyphs(sketches(), shapes_, {top_, line_.baseline});
        if (!shares) return std::nullopt;
        for (std::size_t i = 0; i < letters_.size(); ++i) {
            letters_[i].first = (*shares)[i].first;
            letters_[i].count = (*shares)[i].count;
        }
        dropNarrowBlanks();
        repairLetters(true);
        return textOf(letters_);
    }

  private:
    void repairLetters(bool fixedPitch) {
        for (std::size_t i = 0; i < letters_.size(); ++i) {
            if (letters_[i].count != 1) continue;
            repairStem(i);
            repairZero(i, fixedPitch);
        }
    }

    std::vector<LetterSketch> sketches() const {
        std::vector<LetterSketch> all;
        for (const Letter& letter : letters_) {
            all.push_back({letter.text.size() == 1 ? letter.text[0] : '\0', letter.blankBefore});
        }
        return all;
    }

    /// Takes out blanks beside punctuation where it stands as close as within a word: the model likes to put
    /// them after the dots of addresses and file names.
    void dropNarrowBlanks() {
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            Letter& letter = letters_[i];
            const Letter& before = letters_[i - 1];
            if (!letter.blankBefore || letter.count == 0 || before.count == 0) continue;
            if (!isBesidePunctuation(i)) continue;
            if (gapBefore(i) <= 0.25 * capHeight_) letter.blankBefore = false;
        }
    }

    bool isBesidePunctuation(std::size_t i) const {
        return isPunctuation(letters_[i - 1]) || isPunctuation(letters_[i]);
    }

    static bool isPunctuation(const Letter& one) { return one.isOneOf({".", ":", "_", "-", "/", "#", "@"}); }

    /// Gives every letter its shapes; false when they do not come out even.
    bool match() {
        std::size_t next = 0;
        for (Letter& letter : letters_) {
            letter.count = letter.is("\"") || letter.is("”") || letter.is("“") ? 2 : 1;
            letter.first = next;
            next += letter.count;
        }
        return next == shapes_.size();
    }

    /// Whether most of the reading's blanks are free cells, apart from those beside punctuation, which the
    /// model likes to make up. Proportional text stands on some grid by chance, and would lose all of them.
    bool agrees(const std::vector<int>& cells) const {
        std::size_t blanks = 0;
        std::size_t free = 0;
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            const std::size_t first = letters_[i].first;
            if (!letters_[i].blankBefore || isBesidePunctuation(i)) continue;
            ++blanks;
            free += cells[first] - cells[first - 1] > 1 ? 1 : 0;
        }
        return 2 * free >= blanks;
    }

    void setBlanksByCells(const std::vector<int>& cells) {
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            const std::size_t first = letters_[i].first;
            // Both strokes of a double quote stand in one cell, which then are none of the grid's.
            if (letters_[i].count != 1 || letters_[i - 1].count != 1) continue;
            letters_[i].blankBefore = cells[first] - cells[first - 1] > 1;
        }
    }

    /// Whether the reading's blanks stand at the widest gaps. Equal counts alone can hide one shape too many
    /// here and one too few there.
    bool isAligned() const {
        std::vector<int> gaps;
        std::size_t blanks = 0;
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            gaps.push_back(gapBefore(i));
            blanks += letters_[i].blankBefore ? 1 : 0;
        }
        if (blanks == 0) return true;
        std::sort(gaps.begin(), gaps.end(), std::greater<>());
        const int least = gaps[blanks - 1];
        std::size_t wide = 0;
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            wide += letters_[i].blankBefore && gapBefore(i) >= least ? 1 : 0;
        }
        return 5 * wide >= 4 * blanks;
    }

    void setBlanksByGaps() {
        std::vector<int> gaps;
        int leastBlank = line_.width;
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            gaps.push_back(gapBefore(i));
            if (letters_[i].blankBefore) leastBlank = std::min(leastBlank, gaps.back());
        }
        if (gaps.size() < 2) return;
        if (leastBlank == line_.width) leastBlank = 0;
        std::vector<int> sorted = gaps;
        std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2),
                         sorted.end());
        const int usual = std::max(1, sorted[sorted.size() / 2]);
        for (std::size_t i = 1; i < letters_.size(); ++i) {
            const int gap = gaps[i - 1];
            if (gap >= 0.38 * capHeight_ && gap >= 1.7 * usual && gap >= 0.8 * leastBlank &&
                isUnitBoundary(i)) {
                letters_[i].blankBefore = true;
            }
        }
    }

    /// Between a number and its unit, where the model drops blanks. Elsewhere wide gaps beside the slim digit
    /// one would be taken for blanks.
    bool isUnitBoundary(std::size_t i) const {
        const char next = letters_[i].text[0];
        const bool unit = next == '%' || next == 'k' || next == 'M' || next == 'G' || next == 'm';
        return isDigit(letters_[i - 1]) && unit;
    }

    int gapBefore(std::size_t i) const {
        const Letter& before = letters_[i - 1];
        return shapes_[letters_[i].first].box.x0 - shapes_[before.first + before.count - 1].box.x1;
    }

    /// Tells the upright strokes apart by their flags, feet and dots.
    void repairStem(std::size_t i) {
        Letter& letter = letters_[i];
        if (!letter.isOneOf({"1", "l", "I", "i", "|"})) return;
        const GlyphShape& shape = shapes_[letter.first];
        if (shape.box.height() < 7 || shape.box.width() > 0.8 * shape.box.height()) return;
        const StemTraits traits = stemTraits(line_, shape);
        // A vertical bar reaches below the baseline.
        if (letter.is("|") && shape.box.y1 <= line_.baseline + 1 && !traits.gap) letter.text.assign(1, 'I');
        if (letter.is("|")) return;
        const bool bar = !traits.flagLeft && !traits.footLeft && !traits.topRight;
        if (traits.gap) return;
        // Small flags fade; a word of one letter with feet is a number.
        if (letter.is("l") && isAlone(i) && traits.footLeft && traits.footRight) letter.text.assign(1, '1');
        if (traits.flagLeft && !traits.topRight && traits.footLeft == traits.footRight) {
            if (!traits.footLeft || letter.is("i") || hasDigitBeside(i) || hasPlainL() || isAlone(i))
                letter.text.assign(1, '1');
        } else if (traits.flagLeft && traits.footRight && !traits.footLeft && !traits.topRight) {
            letter.text.assign(1, 'l');
        } else if (bar &&
                   ((letter.is("i") && i > 0 && !letters_[i - 1].is("f")) ||
                    (letter.is("1") && isBetweenLetters(i)) || (letter.is("I") && isInsideSmallWord(i)))) {
            letter.text.assign(1, 'l');
            if (isPlain(traits)) hasPlainL_ = true;
        }
    }

    static bool isPlain(const StemTraits& traits) {
        return !traits.flagLeft && !traits.footLeft && !traits.footRight && !traits.topRight;
    }

    /// Whether another l of the line is a bare stroke, so that this font's l has no feet. Looks at them all
    /// once only: a bare l is never made another letter, and those that are made one are noted.
    bool hasPlainL() {
        if (!hasPlainL_) {
            hasPlainL_ = std::any_of(letters_.begin(), letters_.end(), [this](const Letter& one) {
                return one.is("l") && one.count == 1 && isPlain(stemTraits(line_, shapes_[one.first]));
            });
        }
        return *hasPlainL_;
    }

    /// Whether a character is a word of its own, as numbers are and small letters hardly.
    bool isAlone(std::size_t i) const {
        return letters_.size() > 1 && (i == 0 || letters_[i].blankBefore) &&
               (i + 1 == letters_.size() || letters_[i + 1].blankBefore);
    }

    bool hasDigitBeside(std::size_t i) const {
        return (i > 0 && isDigit(letters_[i - 1])) || (i + 1 < letters_.size() && isDigit(letters_[i + 1]));
    }

    static bool isLetter(const Letter& one) {
        const char c = one.text[0];
        return one.text.size() == 1 &&
               ((c >= 'a' && c <= 'z' && c != 'x') || (c >= 'A' && c <= 'Z' && c != 'O' && c != 'Q'));
    }

    /// Whether a letter of the same word stands beside: words have no zeros in them. x, O and Q do not count,
    /// for 0x and for zeros misread in a row.
    bool isBesideLetter(std::size_t i) const {
        return (i > 0 && !letters_[i].blankBefore && isLetter(letters_[i - 1])) ||
               (i + 1 < letters_.size() && !letters_[i + 1].blankBefore && isLetter(letters_[i + 1]));
    }

    static bool isSmallLetter(const Letter& one) {
        return one.text.size() == 1 && one.text[0] >= 'a' && one.text[0] <= 'z';
    }

    /// Whether small letters of the same word stand on both sides.
    bool isInsideSmallWord(std::size_t i) const {
        return i > 0 && i + 1 < letters_.size() && !letters_[i].blankBefore && !letters_[i + 1].blankBefore &&
               isSmallLetter(letters_[i - 1]) && isSmallLetter(letters_[i + 1]);
    }

    bool isBetweenLetters(std::size_t i) const {
        return i > 0 && i + 1 < letters_.size() && isLetter(letters_[i - 1]) && isLetter(letters_[i + 1]);
    }

    void repairZero(std::size_t i, bool fixedPitch) {
        Letter& letter = letters_[i];
        const PixelBox& box = shapes_[letter.first].box;
        const bool digitSized =
            box.height() >= 7 && box.height() >= 0.8 * capHeight_ && box.y1 <= line_.baseline + 1;
        if (!digitSized) return;
        const double slimness = static_cast<double>(box.width()) / box.height();
        if (isBesideLetter(i)) return;
        const bool isStruck = hasInkInMiddle(line_, shapes_[letter.first]);
        if (slimness < 0.78 && (letter.isOneOf({"@", "®", "©", "Ø"}) || (letter.is("Q") && isStruck))) {
            letter.text.assign(1, '0');
        } else if (letter.isOneOf({"O", "0"}) && isStruck) {
            letter.text.assign(1, '0');
        } else if (letter.is("O") && !fixedPitch && slimness < 0.7) {
            letter.text.assign(1, '0');
        } else if (letter.is("0") && !fixedPitch && slimness > 0.9 && !hasDigitBeside(i)) {
            letter.text.assign(1, 'O');
        }
    }

    std::vector<Letter> letters_;
    const LinePlane& line_;
    std::vector<GlyphShape> shapes_;
    int top_ = 0;
    int capHeight_ = 1;
    /// Not known before it is asked for.
    std::optional<bool> hasPlainL_;
};

}  // namespace

std::string repairReading(const LineReading& reading, const LinePlane& line) {
    const std::vector<Letter> letters = lettersOf(reading.text);
    if (letters.empty()) return reading.text;
    // Soft letters touch at a low level, thin ones fall apart at a high one: the first level that matches
    // counts.
    for (const float inkLevel : {96.0F, 128.0F, 160.0F, 72.0F, 192.0F}) {
        if (auto repaired = Repair(letters, line, inkLevel).run()) return *repaired;
    }
    // What the model is sure of is more often right than shapes that touch.
    if (reading.confidence >= sure) return reading.text;
    for (const float inkLevel : {128.0F, 96.0F, 160.0F}) {
        if (auto repaired = Repair(letters, line, inkLevel).runLoosely()) return *repaired;
    }
    return reading.text;
}

}  // namespace varkel
