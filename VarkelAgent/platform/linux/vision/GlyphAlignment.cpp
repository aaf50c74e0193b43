#include "platform/linux/vision/GlyphAlignment.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

namespace varkel {

namespace {

/// The widths that a character has in usual fonts, in heights of capitals.
struct Widths {
    double least = 0;
    double most = 0;
};

bool isAmong(char character, std::string_view some) {
    return some.find(character) != std::string_view::npos;
}

Widths widthsOf(char character) {
    if (character == '\0') return {0.3, 1.2};
    if (isAmong(character, ".,:;'!|`")) return {0.08, 0.35};
    if (isAmong(character, "il1I")) return {0.08, 0.65};
    if (isAmong(character, "tfrj()[]{}-\"*/\\")) return {0.2, 0.65};
    if (isAmong(character, "mwMW@%")) return {0.65, 1.3};
    if (character >= 'A' && character <= 'Z') return {0.45, 1.0};
    return {0.4, 0.9};
}

/// What a way of giving shapes to letters costs; 0 is a perfect fit.
class Costs {
  public:
    Costs(const std::vector<LetterSketch>& letters, const std::vector<GlyphShape>& shapes, LetterRows rows)
        : letters_(letters), shapes_(shapes), rows_(rows), capital_(std::max(1, rows.baseline - rows.top)) {}

    double single(std::size_t letter, std::size_t shape) const {
        const PixelBox& box = shapes_[shape].box;
        return misfit(box.width(), widthsOf(letters_[letter].character)) +
               misplaced(letters_[letter].character, box);
    }

    /// `count` letters from `letter` that touch.
    double touching(std::size_t letter, std::size_t count, std::size_t shape) const {
        Widths sum;
        double cost = 0.3 * static_cast<double>(count - 1);
        for (std::size_t i = letter; i < letter + count; ++i) {
            const Widths one = widthsOf(letters_[i].character);
            sum.least += one.least;
            sum.most += one.most;
            if (i > letter && letters_[i].blankBefore) cost += 0.7;
        }
        return cost + misfit(shapes_[shape].box.width(), sum);
    }

    /// A letter in two pieces.
    double broken(std::size_t letter, std::size_t shape) const {
        const bool isDouble = letters_[letter].character == '"';
        const int width = shapes_[shape + 1].box.x1 - shapes_[shape].box.x0;
        return (isDouble ? 0 : 0.5) + misfit(width, widthsOf(letters_[letter].character));
    }

  private:
    double misfit(int width, Widths widths) const {
        // A pixel more or less is the softness of the edges.
        const double least = std::max(0.5, widths.least * capital_ - 1);
        const double most = widths.most * capital_ + 1;
        if (width < least) return std::log(least / width);
        return width > most ? std::log(width / most) : 0;
    }

    double misplaced(char character, const PixelBox& box) const {
        constexpr double wrong = 0.4;
        const double middle = rows_.top + capital_ * 0.5;
        if (isAmong(character, ".,_")) return box.y0 > middle ? 0 : 2 * wrong;
        if (isAmong(character, "'\"`^")) return box.y1 < middle + 1 ? 0 : 2 * wrong;
        if (isAmong(character, "acemnorsuvwxz")) return box.y0 > rows_.top + 0.1 * capital_ ? 0 : wrong;
        if (isAmong(character, "gpqy")) return box.y1 > rows_.baseline + 0.1 * capital_ ? 0 : wrong;
        const bool high = (character >= '0' && character <= '9') || isAmong(character, "bdfhkl") ||
                          (character >= 'A' && character <= 'Z');
        return high && box.y0 > rows_.top + 0.25 * capital_ + 1 ? wrong : 0;
    }

    const std::vector<LetterSketch>& letters_;
    const std::vector<GlyphShape>& shapes_;
    LetterRows rows_;
    double capital_;
};

struct Step {
    double cost = std::numeric_limits<double>::max();
    std::size_t letters = 0;
    std::size_t shapes = 0;
};

constexpr std::size_t mostTouching = 4;
constexpr double stray = 1.2;

}  // namespace

std::optional<std::vector<GlyphShare>> alignGlyphs(const std::vector<LetterSketch>& letters,
                                                   const std::vector<GlyphShape>& shapes, LetterRows rows) {
    constexpr std::size_t most = 250;
    constexpr std::size_t slack = 24;
    const std::size_t rowCount = letters.size() + 1;
    const std::size_t columnCount = shapes.size() + 1;
    if (letters.empty() || shapes.empty() || rowCount > most || columnCount > most) return std::nullopt;
    const Costs costs(letters, shapes, rows);
    std::vector<Step> steps(rowCount * columnCount);
    const auto at = [&](std::size_t letter, std::size_t shape) -> Step& {
        return steps[letter * columnCount + shape];
    };
    at(0, 0).cost = 0;
    for (std::size_t i = 0; i < rowCount; ++i) {
        // Far from the diagonal nothing fits.
        const std::size_t diagonal = i * shapes.size() / letters.size();
        const std::size_t end = std::min(columnCount, diagonal + slack);
        for (std::size_t k = diagonal > slack ? diagonal - slack : 0; k < end; ++k) {
            const double so = at(i, k).cost;
            if (so == std::numeric_limits<double>::max()) continue;
            const auto offer = [&](std::size_t moreLetters, std::size_t moreShapes, double cost) {
                Step& target = at(i + moreLetters, k + moreShapes);
                if (so + cost < target.cost) target = {so + cost, moreLetters, moreShapes};
            };
            const bool isLetter = i < letters.size();
            const bool isShape = k < shapes.size();
            if (isLetter) offer(1, 0, stray);
            if (isShape) offer(0, 1, stray);
            if (!isLetter || !isShape) continue;
            offer(1, 1, costs.single(i, k));
            for (std::size_t n = 2; n <= mostTouching && i + n <= letters.size(); ++n) {
                offer(n, 1, costs.touching(i, n, k));
            }
            if (k + 2 <= shapes.size()) offer(1, 2, costs.broken(i, k));
        }
    }

    constexpr double leastFit = 0.25;
    if (at(letters.size(), shapes.size()).cost > leastFit * static_cast<double>(letters.size())) {
        return std::nullopt;
    }
    std::vector<GlyphShare> shares(letters.size());
    for (std::size_t i = letters.size(), k = shapes.size(); i > 0 || k > 0;) {
        const Step& step = at(i, k);
        i -= step.letters;
        k -= step.shapes;
        if (step.letters == 1) shares[i] = {k, step.shapes};
    }
    return shares;
}

}  // namespace varkel
