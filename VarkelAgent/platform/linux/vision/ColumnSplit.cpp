#include "platform/linux/vision/ColumnSplit.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <utility>

namespace varkel {

namespace {

/// The narrowest space between columns, in heights of the line, and that which is wider than most blanks.
constexpr double leastSpace = 0.3;
constexpr double wideSpace = 0.6;
/// How far letters that begin in one column may be apart.
constexpr int sameStart = 2;
/// How many heights of a line above and below it the rows of its table are looked for.
constexpr int nearby = 8;
/// The rows that must be cut at a place: fewer where the space is wide as well.
constexpr int leastRows = 3;
constexpr int leastRowsAtWideSpace = 2;

bool isSameRow(const PixelBox& a, const PixelBox& b) {
    return 2 * (std::min(a.y1, b.y1) - std::max(a.y0, b.y0)) > std::min(a.height(), b.height());
}

bool isAlike(const PixelBox& a, const PixelBox& b) {
    return 10 * std::min(a.height(), b.height()) >= 6 * std::max(a.height(), b.height());
}

/// How many other rows have one line that begins at `left` and another that begins at `right`.
int rowsCutAt(const std::vector<DetectedLine>& lines, const PixelBox& line, int left, int right) {
    int rows = 0;
    for (const DetectedLine& second : lines) {
        const PixelBox& box = second.box;
        const int distance = std::abs(box.y0 + box.y1 - line.y0 - line.y1) / 2;
        if (std::abs(box.x0 - right) > sameStart || distance > nearby * line.height()) continue;
        if (isSameRow(box, line) || !isAlike(box, line)) continue;
        rows += std::any_of(lines.begin(), lines.end(), [&](const DetectedLine& first) {
            return std::abs(first.box.x0 - left) <= sameStart && first.box.x1 < box.x0 &&
                   isSameRow(first.box, box) && isAlike(first.box, box);
        });
    }
    return rows;
}

/// The first part of a line that begins the next column.
std::optional<std::size_t> nextColumn(const std::vector<DetectedLine>& lines, const DetectedLine& line) {
    int end = line.parts.front().x1;
    for (std::size_t i = 1; i < line.parts.size(); ++i) {
        const PixelBox& part = line.parts[i];
        const int space = part.x0 - end;
        const int least = space >= wideSpace * line.box.height() ? leastRowsAtWideSpace : leastRows;
        const bool isSpace = space >= leastSpace * line.box.height();
        if (isSpace && rowsCutAt(lines, line.box, line.box.x0, part.x0) >= least) return i;
        end = std::max(end, part.x1);
    }
    return std::nullopt;
}

void fitBox(DetectedLine& line) {
    line.box = line.parts.front();
    for (const PixelBox& part : line.parts) {
        line.box = {std::min(line.box.x0, part.x0), std::min(line.box.y0, part.y0),
                    std::max(line.box.x1, part.x1), std::max(line.box.y1, part.y1)};
    }
}

void cutOnce(std::vector<DetectedLine>& lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto at = nextColumn(lines, lines[i]);
        if (!at) continue;
        const auto cut = lines[i].parts.begin() + static_cast<std::ptrdiff_t>(*at);
        DetectedLine rest{{}, {cut, lines[i].parts.end()}};
        lines[i].parts.erase(cut, lines[i].parts.end());
        fitBox(lines[i]);
        fitBox(rest);
        lines.push_back(std::move(rest));
    }
}

}  // namespace

void splitAtColumns(std::vector<DetectedLine>& lines) {
    // What was cut shows the columns to rows that come before it.
    std::size_t before = 0;
    while (before != lines.size()) {
        before = lines.size();
        cutOnce(lines);
    }
}

}  // namespace varkel
