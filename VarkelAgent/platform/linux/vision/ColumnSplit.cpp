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
/// Or that are cut or only have a space there, as wide and wider than those around: next to numbers that end
/// where the next column begins, no row is cut.
constexpr int leastRowsOpen = 4;

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

/// A space between two parts of a line.
struct Space {
    int from = 0;
    int to = 0;
    int width() const { return to - from; }
};

/// The spaces of a line that may part words or columns, each with the index of the part behind it.
std::vector<std::pair<Space, std::size_t>> spacesOf(const DetectedLine& line) {
    std::vector<std::pair<Space, std::size_t>> spaces;
    int end = line.parts.front().x1;
    for (std::size_t i = 1; i < line.parts.size(); ++i) {
        const PixelBox& part = line.parts[i];
        if (part.x0 - end >= leastSpace * line.box.height()) spaces.emplace_back(Space{end, part.x0}, i);
        end = std::max(end, part.x1);
    }
    return spaces;
}

bool isNear(int a, int b) {
    return std::abs(a - b) <= sameStart;
}

/// Whether another line begins with the same letters up to a space of this one, as far as their boxes tell.
/// The space behind the same words is at the same place in text as well, so such rows tell nothing of
/// columns.
bool beginsAlike(const DetectedLine& line, const DetectedLine& other, const Space& space) {
    constexpr std::size_t fewest = 4;
    const auto isSame = [](const PixelBox& a, const PixelBox& b) {
        return std::abs(a.x0 - b.x0) <= 1 && std::abs(a.x1 - b.x1) <= 1 &&
               std::abs(a.height() - b.height()) <= 1;
    };
    std::size_t same = 0;
    for (const PixelBox& part : line.parts) {
        if (part.x1 > space.from) break;
        if (same == other.parts.size() || !isSame(part, other.parts[same])) return false;
        ++same;
    }
    return same >= fewest;
}

/// How many other rows are cut at a space of a line: behind what begins where the line begins, or ends where
/// the space does.
int rowsCutAt(Lines near, const DetectedLine& cutLine, const Space& space) {
    const PixelBox& line = cutLine.box;
    int rows = 0;
    for (const DetectedLine& second : near) {
        const PixelBox& box = second.box;
        if (!isNear(box.x0, space.to) || isSameRow(box, line) || !isAlike(box, line)) continue;
        rows += std::any_of(near.begin(), near.end(), [&](const DetectedLine& first) {
            return (isNear(first.box.x0, line.x0) || isNear(first.box.x1, space.from)) &&
                   first.box.x1 < box.x0 && isSameRow(first.box, box) && isAlike(first.box, box) &&
                   !beginsAlike(cutLine, first, space);
        });
    }
    return rows;
}

/// How many other rows have a space that begins and ends where this one does.
int rowsOpenAt(Lines near, const DetectedLine& line, const Space& space) {
    int rows = 0;
    for (const DetectedLine& other : near) {
        if (isSameRow(other.box, line.box) || !isAlike(other.box, line.box)) continue;
        if (beginsAlike(line, other, space)) continue;
        const auto spaces = spacesOf(other);
        rows += std::any_of(spaces.begin(), spaces.end(), [&](const auto& one) {
            return isNear(one.first.from, space.from) && isNear(one.first.to, space.to);
        });
    }
    return rows;
}

/// Whether what a line begins with, up to a space, is one of a column that ends there, as numbers of lines
/// do: nearly all other rows end there, too, or have a space, and some are cut.
bool isInColumnTo(Lines near, const PixelBox& line, const Space& space) {
    int rows = 0;
    int cut = 0;
    int open = 0;
    for (const DetectedLine& other : near) {
        const PixelBox& box = other.box;
        if (isSameRow(box, line) || box.x0 >= space.from || box.x1 <= line.x0) continue;
        ++rows;
        if (isNear(box.x1, space.from)) {
            ++cut;
            continue;
        }
        const auto spaces = spacesOf(other);
        open += !spaces.empty() && isNear(spaces.front().first.from, space.from) ? 1 : 0;
    }
    return cut >= leastRows && 10 * (cut + open) >= 8 * rows;
}

/// The usual width of spaces around a line.
int usualSpace(Lines near) {
    std::vector<int> widths;
    for (const DetectedLine& line : near) {
        for (const auto& [space, part] : spacesOf(line)) widths.push_back(space.width());
    }
    if (widths.empty()) return 0;
    const auto middle = widths.begin() + static_cast<std::ptrdiff_t>(widths.size() / 2);
    std::nth_element(widths.begin(), middle, widths.end());
    return *middle;
}

/// The first part of a line that begins the next column.
std::optional<std::size_t> nextColumn(Lines lines, const DetectedLine& line,
                                      const CancellableDeadline& deadline) {
    const auto spaces = spacesOf(line);
    if (spaces.empty()) return std::nullopt;
    const Lines near = around(lines, line.box);
    const int usual = usualSpace(near);
    for (const auto& [space, part] : spaces) {
        deadline.check();
        const bool isWide = space.width() >= wideSpace * line.box.height();
        if (&space == &spaces.front().first && isInColumnTo(near, line.box, space)) return part;
        const int rows = rowsCutAt(near, line, space);
        if (rows >= (isWide ? leastRowsAtWideSpace : leastRows)) return part;
        const bool isWider = 10 * space.width() >= 16 * usual;
        if (isWider && rows + rowsOpenAt(near, line, space) >= leastRowsOpen) return part;
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
bool cutOnce(std::vector<DetectedLine>& lines, const CancellableDeadline& deadline) {
    std::stable_sort(lines.begin(), lines.end(), [](const DetectedLine& a, const DetectedLine& b) {
        return middleOf(a.box) < middleOf(b.box);
    });
    // Looked for first and cut afterwards, since cutting moves the middles that the lines are sorted by.
    std::vector<std::pair<std::size_t, std::size_t>> cuts;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (const auto at = nextColumn(lines, lines[i], deadline)) cuts.emplace_back(i, *at);
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

void splitAtColumns(std::vector<DetectedLine>& lines, const CancellableDeadline& deadline) {
    // What was cut is looked at again, and shows the columns to the rows around it.
    constexpr int mostRounds = 8;
    for (int round = 0; round < mostRounds && cutOnce(lines, deadline); ++round) {
    }
}

}  // namespace varkel
