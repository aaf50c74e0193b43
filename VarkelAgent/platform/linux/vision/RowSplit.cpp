#include "platform/linux/vision/RowSplit.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace varkel {

namespace {

using Boxes = std::vector<PixelBox>;

/// The usual height of letters; 0 where there are none.
int usualHeight(const Boxes& parts) {
    constexpr int lowest = 4;
    std::vector<int> heights;
    for (const PixelBox& part : parts) {
        if (part.height() >= lowest) heights.push_back(part.height());
    }
    if (heights.empty()) return 0;
    const auto middle = heights.begin() + static_cast<std::ptrdiff_t>(heights.size() / 2);
    std::nth_element(heights.begin(), middle, heights.end());
    return *middle;
}

/// The row that most letters stand on, and how many do.
struct Baseline {
    int y = 0;
    std::ptrdiff_t letters = 0;
};

Baseline commonBaseline(const Boxes& parts, int height) {
    const int tolerance = std::max(1, height / 8);
    const auto isLetter = [&](const PixelBox& part) {
        return 10 * part.height() >= 6 * height && 10 * part.height() <= 22 * height;
    };
    Baseline best;
    for (const PixelBox& part : parts) {
        if (!isLetter(part)) continue;
        const auto letters = std::count_if(parts.begin(), parts.end(), [&](const PixelBox& other) {
            return isLetter(other) && std::abs(other.y1 - part.y1) <= tolerance;
        });
        if (letters > best.letters) best = {part.y1, letters};
    }
    return best;
}

/// Adds the lines that a row makes, cut where it is empty for longer than between words.
void addRow(const Boxes& row, int height, std::vector<DetectedLine>& lines) {
    DetectedLine line;
    for (const PixelBox& part : row) {
        if (!line.parts.empty() && part.x0 - line.box.x1 > 2 * height)
            lines.push_back(std::exchange(line, {}));
        line.box = line.parts.empty() ? part : united(line.box, part);
        line.parts.push_back(part);
    }
    lines.push_back(std::move(line));
}

}  // namespace

void splitIntoRows(std::vector<DetectedLine>& lines) {
    // With brackets and descenders a line of small letters is two and a half times as high as they are.
    constexpr int highest = 3;
    constexpr std::ptrdiff_t fewest = 3;
    std::vector<DetectedLine> rows;
    std::erase_if(lines, [&](const DetectedLine& line) {
        const int height = usualHeight(line.parts);
        if (line.box.height() <= highest * height) return false;
        Boxes rest = line.parts;
        const std::size_t before = rows.size();
        for (Baseline base = commonBaseline(rest, height); base.letters >= fewest;
             base = commonBaseline(rest, height)) {
            const auto isOutside = [&](const PixelBox& part) {
                return part.y0 < base.y - 2 * height || 10 * part.y1 > 10 * base.y + 7 * height;
            };
            const auto row = std::stable_partition(rest.begin(), rest.end(), isOutside);
            addRow({row, rest.end()}, height, rows);
            rest.erase(row, rest.end());
        }
        return rows.size() > before;
    });
    std::move(rows.begin(), rows.end(), std::back_inserter(lines));
}

}  // namespace varkel
