#include "platform/linux/vision/LineDetector.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

#include "platform/linux/vision/EdgeMask.h"
#include "platform/linux/vision/LineGrouping.h"
#include "platform/linux/vision/ShapeFilter.h"

namespace varkel {

namespace {

/// The height of its highest part from which on a line is looked for on a level above 0, where it is half as
/// high or less: capitals of 22 pixels belong to letters of 30.
constexpr int leastHeight = 14;
/// On those levels, what is lower than small letters are then is no letter, and what lies outside a line may
/// be small text above or below it.
constexpr SmallParts smallBesideLarge{7, 0.1};
/// How large dashes and tildes are in lines that are not large on their level; labels of icons are larger.
constexpr int highestDash = 3;
constexpr int widestTilde = 12;

PixelBox scaled(const PixelBox& box, std::size_t by) {
    return {box.x0 << by, box.y0 << by, box.x1 << by, box.y1 << by};
}

PixelBox grown(const PixelBox& box, int by) {
    return {box.x0 - by, box.y0 - by, box.x1 + by, box.y1 + by};
}

/// What was found on one level.
struct Level {
    Mask edges;
    std::vector<Glyph> glyphs;
};

Level searchLevel(const PixelPlanes& image, const CancellableDeadline& deadline) {
    EdgeMasks edges = findEdges(image);
    std::vector<Glyph> glyphs = letterLikeShapes(image, findComponents(edges.shapes), edges, deadline);
    for (std::size_t i = 0; i < edges.shapes.bits.size(); ++i) {
        if (edges.lines.bits[i] != 0) edges.shapes.bits[i] = 1;
    }
    return {std::move(edges.shapes), std::move(glyphs)};
}

int countEdges(const Mask& edges, const PixelBox& box) {
    int count = 0;
    const int x1 = std::min(edges.width, box.x1);
    for (int y = std::max(0, box.y0); y < std::min(edges.height, box.y1); ++y) {
        const std::uint8_t* row = edges.row(y);
        for (int x = std::max(0, box.x0); x < x1; ++x) count += row[x] != 0 ? 1 : 0;
    }
    return count;
}

/// Calls `visit` with the index of each glyph within a box; glyphs are sorted by their left sides.
template <typename Visit>
void forGlyphsWithin(const std::vector<Glyph>& glyphs, const PixelBox& box, Visit visit) {
    auto glyph = std::lower_bound(glyphs.begin(), glyphs.end(), box.x0,
                                  [](const Glyph& one, int x) { return one.box.x0 < x; });
    for (; glyph != glyphs.end() && glyph->box.x0 < box.x1; ++glyph) {
        if (glyph->box.x1 <= box.x1 && glyph->box.y0 >= box.y0 && glyph->box.y1 <= box.y1)
            visit(static_cast<std::size_t>(glyph - glyphs.begin()));
    }
}

std::size_t countGlyphs(const std::vector<Glyph>& glyphs, const PixelBox& box) {
    std::size_t count = 0;
    forGlyphsWithin(glyphs, box, [&](std::size_t) { ++count; });
    return count;
}

/// How many shapes stand beside each other in a box; those above each other, as in an equals sign, are one.
std::size_t countColumns(const std::vector<Glyph>& glyphs, const PixelBox& box) {
    std::size_t count = 0;
    int end = box.x0;
    forGlyphsWithin(glyphs, box, [&](std::size_t i) {
        const PixelBox& glyph = glyphs[i].box;
        if (count == 0 || glyph.x0 >= end) ++count;
        end = std::max(end, glyph.x1);
    });
    return count;
}

int highestPart(const DetectedLine& line) {
    int highest = 0;
    for (const PixelBox& part : line.parts) highest = std::max(highest, part.height());
    return highest;
}

/// Leaves out what would join lines of large letters as dots and dashes do, but is a word of small ones.
std::vector<Glyph> withoutSmallWords(std::vector<Glyph> glyphs, std::size_t level,
                                     const std::vector<Glyph>& original,
                                     const CancellableDeadline& deadline) {
    std::erase_if(glyphs, [&](const Glyph& glyph) {
        deadline.check();
        const PixelBox& box = glyph.box;
        if (box.height() >= smallBesideLarge.lowestLetter) return false;
        // Double quotes are two pieces.
        const bool isWide = 5 * box.width() > 8 * box.height();
        if (box.height() > highestDash && box.width() > widestTilde) return true;
        const std::size_t most = isWide ? 1 : 2;
        return countColumns(original, grown(scaled(box, level), 1)) > most;
    });
    return glyphs;
}

/// Makes a line of each icon where a line is a row of such: letters stand closer to each other.
std::vector<DetectedLine> withIconsApart(DetectedLine line) {
    std::vector<DetectedLine> stacks;
    int narrowest = std::numeric_limits<int>::max();
    for (const PixelBox& part : line.parts) {
        if (stacks.empty() || part.x0 >= stacks.back().box.x1) {
            if (!stacks.empty()) narrowest = std::min(narrowest, part.x0 - stacks.back().box.x1);
            stacks.push_back({part, {}, 0});
        }
        stacks.back().box = united(stacks.back().box, part);
        stacks.back().parts.push_back(part);
    }
    if (narrowest < (highestPart(line) + 1) / 2) return {std::move(line)};
    return stacks;
}

/// How much of a part's width is covered by shapes about as high on the level below.
int coveredWidth(const PixelBox& part, const std::vector<Glyph>& below) {
    const PixelBox box = grown(scaled(part, 1), 2);
    int covered = 0;
    int end = box.x0;
    int top = box.y1;
    int bottom = box.y0;
    forGlyphsWithin(below, box, [&](std::size_t i) {
        const PixelBox& glyph = below[i].box;
        if (5 * glyph.height() < 3 * 2 * part.height()) return;
        top = std::min(top, glyph.y0);
        bottom = std::max(bottom, glyph.y1);
        covered += std::max(0, glyph.x1 - std::max(end, glyph.x0));
        end = std::max(end, glyph.x1);
    });
    // An icon with its label below would be covered in its width only.
    return 10 * (bottom - top) >= 8 * 2 * part.height() ? covered : 0;
}

/// Whether a line of a level above 0 is one of large letters, rather than what smaller ones become there:
/// blots of words and paragraphs, or buttons with their labels.
bool isLargeText(const DetectedLine& line, std::size_t level, const std::vector<Level>& levels,
                 const CancellableDeadline& deadline) {
    const int highest = highestPart(line);
    int width = 0;
    int covered = 0;
    int edges = 0;
    int originalEdges = 0;
    std::size_t pieces = 0;
    std::size_t high = 0;
    for (const PixelBox& part : line.parts) {
        deadline.check();
        high += 20 * part.height() >= 9 * highest ? 1 : 0;
        width += 2 * part.width();
        covered += coveredWidth(part, levels[level - 1].glyphs);
        edges += countEdges(levels[level].edges, grown(part, 1));
        originalEdges += countEdges(levels.front().edges, grown(scaled(part, level), 1));
        pieces += countGlyphs(levels.front().glyphs, grown(scaled(part, level), 1));
    }
    // Letters twice as high have outlines twice as long.
    return highest >= leastHeight && 10 * line.box.height() <= 17 * highest &&
           2 * high >= line.parts.size() && 10 * covered >= 6 * width &&
           originalEdges <= (2 * edges << level) && pieces <= 3 * line.parts.size() + 2;
}

/// The greatest difference of two pixels in a channel.
int difference(const PixelPlanes& image, std::size_t a, std::size_t b) {
    return std::max({std::abs(image.red[a] - image.red[b]), std::abs(image.green[a] - image.green[b]),
                     std::abs(image.blue[a] - image.blue[b])});
}

/// Whether a rule, such as between the cells of a table, runs down the whole of a line between two columns.
/// Rules are often too pale for edges.
bool hasRule(const PixelPlanes& image, const PixelBox& line, int from, int to) {
    constexpr int evenness = 6;
    constexpr int contrast = 8;
    const int middle = (line.y0 + line.y1) / 2;
    for (int x = from + 1; x < to - 1; ++x) {
        const std::size_t centre = image.offset(x, middle);
        if (difference(image, centre, image.offset(from, middle)) < contrast ||
            difference(image, centre, image.offset(to - 1, middle)) < contrast) {
            continue;
        }
        int y = line.y0;
        while (y < line.y1 && difference(image, centre, image.offset(x, y)) <= evenness) ++y;
        if (y == line.y1) return true;
    }
    return false;
}

/// Cuts a line wherever a rule stands between two of its parts.
void splitAtRules(const DetectedLine& line, const PixelPlanes& image, std::vector<DetectedLine>& lines) {
    constexpr int leastGap = 4;
    DetectedLine piece;
    for (const PixelBox& part : line.parts) {
        if (!piece.parts.empty() && part.x0 - piece.box.x1 >= leastGap &&
            hasRule(image, line.box, piece.box.x1 + 1, part.x0 - 1)) {
            lines.push_back(std::exchange(piece, {}));
        }
        piece.box = piece.parts.empty() ? part : united(piece.box, part);
        piece.parts.push_back(part);
    }
    lines.push_back(std::move(piece));
}

/// The lines that glyphs of one level form, cut at rules.
std::vector<DetectedLine> findLines(const std::vector<Glyph>& glyphs, SmallParts small,
                                    const PixelPlanes& image, const CancellableDeadline& deadline) {
    std::vector<DetectedLine> lines;
    for (const DetectedLine& line : groupIntoLines(glyphs, small, deadline)) {
        splitAtRules(line, image, lines);
    }
    return lines;
}

/// Takes the shapes within the parts of lines, such as pieces of their letters, off the levels below theirs.
void claim(const std::vector<DetectedLine>& lines, std::size_t level, std::vector<Level>& levels,
           const CancellableDeadline& deadline) {
    for (std::size_t below = 0; below < level; ++below) {
        std::vector<Glyph>& glyphs = levels[below].glyphs;
        std::vector<char> taken(glyphs.size());
        const std::size_t by = level - below;
        for (const DetectedLine& line : lines) {
            for (const PixelBox& part : line.parts) {
                deadline.check();
                forGlyphsWithin(glyphs, grown(scaled(part, by), 1 << by),
                                [&](std::size_t i) { taken[i] = 1; });
            }
        }
        std::size_t next = 0;
        std::erase_if(glyphs, [&](const Glyph&) { return taken[next++] != 0; });
    }
}

/// The lines of large letters on a level above 0.
std::vector<DetectedLine> findLargeLines(const PixelPlanes& image, std::size_t level,
                                         const std::vector<Level>& levels,
                                         const CancellableDeadline& deadline) {
    const std::vector<Glyph> glyphs =
        withoutSmallWords(levels[level].glyphs, level, levels.front().glyphs, deadline);
    std::vector<DetectedLine> large;
    for (DetectedLine& line : findLines(glyphs, smallBesideLarge, image, deadline)) {
        for (DetectedLine& apart : withIconsApart(std::move(line))) {
            if (isLargeText(apart, level, levels, deadline)) large.push_back(std::move(apart));
        }
    }
    return large;
}

}  // namespace

std::vector<DetectedLine> detectLines(const Pyramid& pyramid, const CancellableDeadline& deadline) {
    std::vector<Level> levels;
    for (std::size_t level = 0; level < pyramid.levels(); ++level) {
        levels.push_back(searchLevel(pyramid.at(level), deadline));
    }

    // From the largest letters down: what they are made of is none of the smaller ones.
    std::vector<DetectedLine> found;
    for (std::size_t level = pyramid.levels() - 1; level > 0; --level) {
        std::vector<DetectedLine> lines = findLargeLines(pyramid.at(level), level, levels, deadline);
        claim(lines, level, levels, deadline);
        for (DetectedLine& line : lines) {
            // Twice as large as where it was found: about as large as a reader wants it.
            for (PixelBox& part : line.parts) part = scaled(part, 1);
            line.box = scaled(line.box, 1);
            line.level = level - 1;
            found.push_back(std::move(line));
        }
    }
    for (DetectedLine& line : findLines(levels.front().glyphs, SmallParts{}, pyramid.at(0), deadline)) {
        found.push_back(std::move(line));
    }
    return found;
}

}  // namespace varkel
