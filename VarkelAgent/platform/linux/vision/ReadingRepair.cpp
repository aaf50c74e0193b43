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
#include "platform/linux/vision/MissingMarks.h"
#include "platform/linux/vision/ReadingLetters.h"

namespace varkel {

namespace {

/// Readings above this are changed only where shapes and characters match one to one.
constexpr float sure = 0.93F;

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
        if (!match() && !matchWithMarks()) return std::nullopt;
        if (!isAligned()) return std::nullopt;
        auto cells = fixedPitchCells(shapes_, capHeight_);
        if (cells && !agrees(*cells)) cells.reset();
        if (cells) {
            setBlanksByCells(*cells);
        } else {
            setBlanksByGaps();
        }
        repairLetters(cells.has_value());
        for (std::size_t i = 0; cells && i < letters_.size(); ++i) repairAt(i);
        return textOf(letters_);
    }

    /// As run() where letters touch, for what stands apart from them; nothing when that is doubtful as well.
    std::optional<std::string> runLoosely() {
        if (!align()) return std::nullopt;
        dropNarrowBlanks();
        repairLetters(true);
        return textOf(letters_);
    }

    /// As runLoosely(), for vertical bars only.
    std::optional<std::string> runForBars() {
        if (!align()) return std::nullopt;
        for (std::size_t i = 0; i < letters_.size(); ++i) {
            if (letters_[i].is("|") && letters_[i].count == 1) repairStem(i);
        }
        return textOf(letters_);
    }

  private:
    /// Gives every letter its shapes where letters touch; false when that is doubtful.
    bool align() {
        const auto shares = alignGlyphs(sketches(), shapes_, {top_, line_.baseline});
        if (!shares) return false;
        for (std::size_t i = 0; i < letters_.size(); ++i) {
            letters_[i].first = (*shares)[i].first;
            letters_[i].count = (*shares)[i].count;
        }
        return true;
    }

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

    /// As match(), with the dots and dashes that the reading lacks.
    bool matchWithMarks() {
        auto complete = withMissingMarks(letters_, shapes_, line_, capHeight_);
        if (!complete) return false;
        letters_ = *std::move(complete);
        return match();
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
        const bool unit = std::string_view("%kKMGmAP").find(next) != std::string_view::npos;
        return isDigit(letters_[i - 1]) && unit;
    }

    int gapBefore(std::size_t i) const {
        const Letter& before = letters_[i - 1];
        return shapes_[letters_[i].first].box.x0 - shapes_[before.first + before.count - 1].box.x1;
    }

    /// Tells the upright strokes apart by their flags, feet and dots.
    void repairStem(std::size_t i) {
        Letter& letter = letters_[i];
        const GlyphShape& shape = shapes_[letter.first];
        // Without a foot.
        if (letter.is("L") && 4 * shape.box.width() <= shape.box.height()) letter.text.assign(1, 'l');
        if (!letter.isOneOf({"1", "l", "I", "i", "|"})) return;
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

    /// Whether a letter of the same word stands beside: words have no zeros in them. x, O and Q do not count,
    /// for 0x and for zeros misread in a row.
    bool isBesideLetter(std::size_t i) const {
        return (i > 0 && !letters_[i].blankBefore && isLetter(letters_[i - 1])) ||
               (i + 1 < letters_.size() && !letters_[i + 1].blankBefore && isLetter(letters_[i + 1]));
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

    /// An at sign of fixed pitch reaches below the baseline as g does, and begins higher than small letters.
    void repairAt(std::size_t i) {
        Letter& letter = letters_[i];
        if (!letter.is("g")) return;
        const PixelBox& box = shapes_[letter.first].box;
        const int step = std::max(2, capHeight_ / 8);
        int low = 0;
        for (const Letter& one : letters_) {
            if (one.count != 1 || !one.isOneOf({"a", "c", "e", "m", "n", "o", "r", "s", "u", "v", "x", "z"}))
                continue;
            if (shapes_[one.first].box.y0 < box.y0 + step) return;
            ++low;
        }
        if (low >= 2) letter.text.assign(1, '@');
    }

    std::vector<Letter> letters_;
    const LinePlane& line_;
    std::vector<GlyphShape> shapes_;
    int top_ = 0;
    int capHeight_ = 1;
    /// Not known before it is asked for.
    std::optional<bool> hasPlainL_;
};

/// A single shape that was read as a letter in both cases, as C is read as Cc; empty for anything else.
std::string letterInBothCases(const std::string& text, const LinePlane& line) {
    if (text.size() != 2 || text[0] < 'A' || text[0] > 'Z' || text[1] - text[0] != 'a' - 'A') return {};
    if (cutGlyphs(line, 96).size() != 1) return {};
    return text.substr(0, 1);
}

}  // namespace

std::string repairReading(const LineReading& reading, const LinePlane& line) {
    const std::vector<Letter> letters = lettersOf(reading.text);
    if (letters.empty()) return reading.text;
    if (auto letter = letterInBothCases(reading.text, line); !letter.empty()) return letter;
    // Soft letters touch at a low level, thin ones fall apart at a high one: the first level that matches
    // counts.
    for (const float inkLevel : {96.0F, 128.0F, 160.0F, 72.0F, 192.0F}) {
        if (auto repaired = Repair(letters, line, inkLevel).run()) return *repaired;
    }
    // What the model is sure of is more often right than shapes that touch, apart from bars between words.
    if (reading.confidence >= sure) {
        if (reading.text.find(" | ") == std::string::npos) return reading.text;
        return Repair(letters, line, 96).runForBars().value_or(reading.text);
    }
    for (const float inkLevel : {128.0F, 96.0F, 160.0F}) {
        if (auto repaired = Repair(letters, line, inkLevel).runLoosely()) return *repaired;
    }
    return reading.text;
}

}  // namespace varkel
