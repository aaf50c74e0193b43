#include "platform/linux/vision/MissingMarks.h"

#include <algorithm>
#include <cstddef>
#include <string>

namespace varkel {

namespace {

/// Whether a shape touches nothing on its sides: feet of letters fade where they join their stems.
bool isClear(const PixelBox& box, const LinePlane& line) {
    constexpr float pale = 64;
    for (int y = box.y0; y < box.y1; ++y) {
        if (darknessAt(line, box.x0 - 1, y) >= pale || darknessAt(line, box.x1, y) >= pale) return false;
    }
    return true;
}

/// The mark that a shape is by its place and size; empty for letters.
std::string markOf(const PixelBox& box, const LinePlane& line, int capHeight) {
    const double small = std::max(2.0, 0.3 * capHeight);
    const double flat = std::max(1.0, 0.2 * capHeight);
    if (box.height() <= flat && box.width() >= 2 * box.height() && box.width() >= 0.25 * capHeight) {
        if (box.y0 >= line.baseline) return "_";
        const bool isInMiddle =
            box.y0 > line.baseline - 0.7 * capHeight && box.y1 < line.baseline - 0.1 * capHeight;
        return isInMiddle ? "-" : "";
    }
    if (box.width() > small || box.y0 < line.baseline - small || !isClear(box, line)) return {};
    if (box.y1 > line.baseline + 1) return box.height() <= 0.5 * capHeight ? "," : "";
    return box.height() <= small ? "." : "";
}

/// Whether a mark can stand between two letters of a reading. A blank in its place is its trace, apart from
/// that behind a sentence.
bool canStandBetween(const std::string& mark, const Letter& before, const Letter& after) {
    if (!isAlphanumeric(before)) return false;
    if (mark == ".") return !after.blankBefore;
    return mark != "," || (isDigit(before) && isDigit(after));
}

}  // namespace

std::optional<std::vector<Letter>> withMissingMarks(std::vector<Letter> letters,
                                                    const std::vector<GlyphShape>& shapes,
                                                    const LinePlane& line, int capHeight) {
    if (shapes.size() <= letters.size()) return std::nullopt;
    for (std::size_t i = 0; i < letters.size() && letters.size() < shapes.size(); ++i) {
        if (!isAlphanumeric(letters[i])) continue;
        const std::string mark = markOf(shapes[i].box, line, capHeight);
        if (mark.empty()) continue;
        if (i == 0 || !canStandBetween(mark, letters[i - 1], letters[i])) return std::nullopt;
        letters[i].blankBefore = false;
        letters.insert(letters.begin() + static_cast<std::ptrdiff_t>(i), {mark, false, 0, 1});
    }
    if (letters.size() < shapes.size()) return std::nullopt;
    return letters;
}

}  // namespace varkel
