#include "platform/linux/vision/ColumnSplit.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <span>
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

int middleOf(const PixelBox& box) {
    return (box.y0 + box.y1) / 2;
}

using Lines = std::span<const DetectedLine>;

/// The lines whose middles are near enough to a line's; `lines` are sorted by theirs.
Lines around(Lines lines, const PixelBox& line) {
    const auto isAbove = [](const DetectedLine& one, int y) { return middleOf(one.box) < y; };
    const int reach = nearby * line.height();
    const auto from = std::lower_bound(lines.begin(), lines.end(), middleOf(line) - reach, isAbove);
    const auto to = std::lower_bound(from, lines.end(), middleOf(line) + reach + 1, isAbove);
    return {from, to};
}

/// How many other rows have one line that begins at `left` and another that begins at `right`.
int rowsCutAt(Lines near, const PixelBox& line, int left, int right) {
    int rows = 0;
    for (const DetectedLine& second : near) {
        const PixelBox& box = second.box;
        if (std::abs(box.x0 - right) > sameStart || isSameRow(box, line) || !isAlike(box, line)) continue;
        rows += std::any_of(near.begin(), near.end(), [&](const DetectedLine& first) {
            return std::abs(first.box.x0 - left) <= sameStart && first.box.x1 < box.x0 &&
                   isSameRow(first.box, box) && isAlike(first.box, box);
        });
    }
    return rows;
}

/// The first part of a line that begins the next column.
std::optional<std::size_t> nextColumn(Lines lines, const DetectedLine& line, const Patience& patience) {
    const Lines near = around(lines, line.box);
    int end = line.parts.front().x1;
    for (std::size_t i = 1; i < line.parts.size(); ++i) {
        patience.check();
        const PixelBox& part = line.parts[i];
        const int space = part.x0 - end;
        const int least = space >= wideSpace * line.box.height() ? leastRowsAtWideSpace : leastRows;
        const bool isSpace = space >= leastSpace * line.box.height();
        if (isSpace && rowsCutAt(near, line.box, line.box.x0, part.x0) >= least) return i;
        end = std::max(end, part.x1);
    }
    return std::nullopt;
}

void fitBox(DetectedLine& line) {
    line.box = line.parts.front();
    for (const PixelBox& part : line.parts) {
        line.box = united(line.box, part);
    }
}

/// Cuts every line once at most; whether any was.
bool cutOnce(std::vector<DetectedLine>& lines, const Patience& patience) {
    std::stable_sort(lines.begin(), lines.end(), [](const DetectedLine& a, const DetectedLine& b) {
        return middleOf(a.box) < middleOf(b.box);
    });
    // Looked for first and cut afterwards, since cutting moves the middles that the lines are sorted by.
    std::vector<std::pair<std::size_t, std::size_t>> cuts;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (const auto at = nextColumn(lines, lines[i], patience)) cuts.emplace_back(i, *at);
    }
    for (const auto& [i, at] : cuts) {
        const auto cut = lines[i].parts.begin() + static_cast<std::ptrdiff_t>(at);
        DetectedLine rest{{}, {cut, lines[i].parts.end()}};
        lines[i].parts.erase(cut, lines[i].parts.end());
        fitBox(lines[i]);
        fitBox(rest);
        lines.push_back(std::move(rest));
    }
    return !cuts.empty();
}

}  // namespace

void splitAtColumns(std::vector<DetectedLine>& lines, const Patience& patience) {
    // What was cut is looked at again, and shows the columns to the rows around it.
    constexpr int mostRounds = 8;
    for (int round = 0; round < mostRounds && cutOnce(lines, patience); ++round) {
    }
}

}  // namespace varkel
