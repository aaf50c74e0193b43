#include "platform/linux/vision/ShapeFilter.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace varkel {

namespace {

constexpr int tallestLetter = 120;
constexpr int widestShape = 600;
/// How far a frame's corner may be from its sides: where a corner fades, the edges leave a gap.
constexpr int reach = 3;

/// What of the long straight lines a shape touches.
struct LineContact {
    bool horizontalAbove = false;
    bool horizontalBelow = false;
    bool vertical = false;
};

LineContact contactOf(const Component& shape, const ComponentSet& all, const Mask& lines) {
    LineContact contact;
    const int middle = (shape.box.y0 + shape.box.y1) / 2;
    const auto look = [&](int x, int y) {
        if (x < 0 || y < 0 || x >= lines.width || y >= lines.height) return;
        const std::uint8_t bits = lines.row(y)[x];
        if ((bits & horizontalEdge) != 0)
            (y < middle ? contact.horizontalAbove : contact.horizontalBelow) = true;
        if ((bits & verticalEdge) != 0) contact.vertical = true;
    };
    for (std::uint32_t i = 0; i < shape.runCount; ++i) {
        const Run& run = all.runs[shape.firstRun + i];
        for (int y = run.y - reach; y <= run.y + reach; ++y) {
            for (int x : {run.x0 - reach, run.x0 - 1, run.x1, run.x1 + reach - 1}) look(x, y);
        }
    }
    return contact;
}

bool isHorizontal(std::uint8_t bits) {
    return (bits & horizontalEdge) != 0;
}

bool isLineOver(const PixelBox& span, const Mask& lines, int y) {
    if (y < 0 || y >= lines.height) return false;
    const std::uint8_t* row = lines.row(y);
    return std::all_of(row + span.x0, row + span.x1, isHorizontal);
}

/// Whether a shape stands between the long sides of a tight rectangle, such as a selection, without being a
/// part of it: a side runs along the whole of the shape and on, and one of them keeps its distance.
bool isBetweenLines(const PixelBox& box, const Mask& lines) {
    const PixelBox span{box.x0 - reach, box.y0, box.x1 + reach, box.y1};
    if (span.x0 < 0 || span.x1 > lines.width) return false;
    const bool touchesAbove = isLineOver(box, lines, box.y0 - 1);
    const bool touchesBelow = isLineOver(box, lines, box.y1);
    if (touchesAbove && touchesBelow) return false;
    // The round ends of a badge between the lines of a table have their own lines beside them.
    for (int y = box.y0; y < box.y1; ++y) {
        const std::uint8_t* row = lines.row(y);
        if (std::any_of(row + span.x0, row + span.x1, isHorizontal)) return false;
    }
    bool above = false;
    bool below = false;
    for (int distance = 1; distance <= reach + 1; ++distance) {
        above = above || isLineOver(span, lines, box.y0 - distance);
        below = below || isLineOver(span, lines, box.y1 - 1 + distance);
    }
    return above && below;
}

/// A corner of a frame joins a horizontal and a vertical line, the round end of one joins two horizontals.
bool isPartOfFrame(const Component& shape, const ComponentSet& all, const Mask& lines) {
    // Whole words that touch the side of their box are wide.
    if (shape.box.width() > 1.3 * shape.box.height()) return false;
    const LineContact contact = contactOf(shape, all, lines);
    return (contact.vertical && (contact.horizontalAbove || contact.horizontalBelow)) ||
           (contact.horizontalAbove && contact.horizontalBelow && !isBetweenLines(shape.box, lines));
}

/// Whether a shape has the outline of a switch: twice as long as high, straight above and below, round at its
/// ends.
bool isSwitch(const Component& shape, const ComponentSet& all) {
    const int width = shape.box.width();
    const int height = shape.box.height();
    if (height < 14 || width < 1.6 * height || width > 2.6 * height) return false;
    const auto isRounded = [&](const Run& run) {
        const int left = run.x0 - shape.box.x0;
        const int right = shape.box.x1 - run.x1;
        return std::min(left, right) >= 0.18 * height && std::max(left, right) <= 0.5 * height;
    };
    // Runs go from top to bottom: the first and the last are the outline's flat sides.
    return isRounded(all.runs[shape.firstRun]) && isRounded(all.runs[shape.firstRun + shape.runCount - 1]);
}

bool isClosed(const Component& shape, const ComponentSet& all) {
    const int width = shape.box.width();
    const int height = shape.box.height();
    if (width < 9 || height < 9 || std::max(width, height) > 1.25 * std::min(width, height)) return false;
    int top = 0;
    int bottom = 0;
    int left = 0;
    int right = 0;
    for (std::uint32_t i = 0; i < shape.runCount; ++i) {
        const Run& run = all.runs[shape.firstRun + i];
        const int length = run.x1 - run.x0;
        if (run.y <= shape.box.y0 + 1) top = std::max(top, length);
        if (run.y >= shape.box.y1 - 2) bottom = std::max(bottom, length);
        left += run.x0 <= shape.box.x0 + 1 ? 1 : 0;
        right += run.x1 >= shape.box.x1 - 1 ? 1 : 0;
    }
    constexpr double share = 0.4;
    return top >= share * width && bottom >= share * width && left >= share * height &&
           right >= share * height;
}

bool isInside(const PixelBox& inner, const PixelBox& outer) {
    return inner.x0 > outer.x0 && inner.y0 > outer.y0 && inner.x1 < outer.x1 && inner.y1 < outer.y1;
}

bool isAlike(const PixelPlanes& image, std::size_t a, std::size_t b) {
    constexpr int tolerance = 40;
    return std::abs(image.red[a] - image.red[b]) <= tolerance &&
           std::abs(image.green[a] - image.green[b]) <= tolerance &&
           std::abs(image.blue[a] - image.blue[b]) <= tolerance;
}

/// The columns that a shape reaches from and to in each of its rows, top to bottom.
std::vector<std::pair<int, int>> outlineOf(const Component& shape, const ComponentSet& all) {
    std::vector<std::pair<int, int>> rows(static_cast<std::size_t>(shape.box.height()),
                                          {shape.box.x1, shape.box.x0});
    for (std::uint32_t i = 0; i < shape.runCount; ++i) {
        const Run& run = all.runs[shape.firstRun + i];
        auto& [left, right] = rows[static_cast<std::size_t>(run.y - shape.box.y0)];
        left = std::min(left, run.x0);
        right = std::max(right, run.x1);
    }
    return rows;
}

/// Whether a shape has the outline of a disc or a button: sides that are straight or round, top and bottom in
/// the middle.
bool isBlock(const Component& shape, const ComponentSet& all) {
    const PixelBox& box = shape.box;
    const auto rows = outlineOf(shape, all);
    const int margin = std::max(2, box.width() / 10);
    for (std::size_t y = rows.size() / 4; y < rows.size() - rows.size() / 4; ++y) {
        if (rows[y].first > box.x0 + margin || rows[y].second < box.x1 - margin) return false;
    }
    const auto isBalanced = [&](const std::pair<int, int>& row) {
        return std::abs((row.first - box.x0) - (box.x1 - row.second)) <= margin;
    };
    return isBalanced(rows.front()) && isBalanced(rows.back());
}

/// Whether a shape is the inner outline of a letter, as o has one: beyond it lies ink, and within it the
/// colour that lies around the letter.
bool isCounter(const PixelPlanes& image, const ComponentSet& all, const Component& inner,
               const PixelBox& outer) {
    const int y = (inner.box.y0 + inner.box.y1) / 2;
    int end = inner.box.x0;
    int widest = -1;
    int within = (inner.box.x0 + inner.box.x1) / 2;
    for (std::uint32_t i = 0; i < inner.runCount; ++i) {
        const Run& run = all.runs[inner.firstRun + i];
        if (run.y != y) continue;
        if (end > inner.box.x0 && run.x0 - end > widest) {
            widest = run.x0 - end;
            within = (end + run.x0) / 2;
        }
        end = run.x1;
    }
    const auto at = [&](int x, int row) {
        return image.offset(std::clamp(x, 0, image.width - 1), std::clamp(row, 0, image.height - 1));
    };
    const std::size_t hole = at(within, y);
    const int middleX = (outer.x0 + outer.x1) / 2;
    const int middleY = (outer.y0 + outer.y1) / 2;
    for (const std::size_t outside : {at(outer.x0 - 1, middleY), at(outer.x1 + 1, middleY),
                                      at(middleX, outer.y0 - 1), at(middleX, outer.y1 + 1)}) {
        if (isAlike(image, hole, outside) && !isAlike(image, at(inner.box.x0, y), outside)) return true;
    }
    return false;
}

/// Marks shapes that surround others: frames, buttons, round portraits with initials in them. Those too large
/// to be letters are left out anyway.
std::vector<char> findFrames(const PixelPlanes& image, const ComponentSet& all,
                             const std::vector<Component>& shapes, const CancellableDeadline& deadline) {
    std::vector<char> frames(shapes.size());
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        deadline.check();
        const PixelBox& outer = shapes[i].box;
        if (outer.width() < 14 || outer.height() < 14) continue;
        if (outer.width() > widestShape || outer.height() > tallestLetter) continue;
        const bool block = isBlock(shapes[i], all);
        int inside = 0;
        bool isDeep = false;
        int tallest = 0;
        int widest = 0;
        auto k = std::lower_bound(shapes.begin(), shapes.end(), outer.x0,
                                  [](const Component& shape, int x) { return shape.box.x0 < x; });
        for (; k != shapes.end() && k->box.x0 < outer.x1; ++k) {
            if (!isInside(k->box, outer) || k->box.height() < 4) continue;
            // White initials on a coloured disc on white are as much an outline within an outline, but
            // farther within.
            const int depth = std::min(k->box.y0 - outer.y0, outer.y1 - k->box.y1);
            const bool deep = block && 100 * depth > 28 * outer.height();
            if (!deep && isCounter(image, all, *k, outer)) continue;
            ++inside;
            // The dot of an i lies in the upper half of what the i touches.
            isDeep = isDeep || 2 * k->box.y1 > outer.y0 + outer.y1;
            tallest = std::max(tallest, k->box.height());
            widest = std::max(widest, k->box.width());
        }
        if (inside >= 2 && outer.height() >= 1.3 * tallest) frames[i] = 1;
        const bool longText = widest > 0.5 * outer.width() && outer.width() > 1.6 * outer.height();
        if (inside == 1 && longText && outer.height() >= 1.3 * tallest) frames[i] = 1;
        // Zeros have a dot in them in some fonts; what else is so slim is hardly a frame.
        const bool isSlim = 20 * outer.width() < 17 * outer.height();
        if (inside == 1 && isDeep && !isSlim && outer.height() >= 20 && outer.height() >= 1.8 * tallest)
            frames[i] = 1;
    }
    return frames;
}

/// Marks the sides of small frames whose corners fade away: a flat stroke with an upright one at its end.
void markBrokenFrames(const std::vector<Component>& shapes, std::vector<char>& frames,
                      const CancellableDeadline& deadline) {
    constexpr int thin = 3;
    constexpr int corner = 6;
    const auto near = [](int a, int b) { return std::abs(a - b) <= corner; };
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        deadline.check();
        const PixelBox& flat = shapes[i].box;
        if (flat.height() > thin || flat.width() < 10) continue;
        auto k = std::lower_bound(shapes.begin(), shapes.end(), flat.x0 - corner,
                                  [](const Component& shape, int x) { return shape.box.x0 < x; });
        for (; k != shapes.end() && k->box.x0 <= flat.x1 + corner; ++k) {
            const PixelBox& upright = k->box;
            if (upright.width() > thin || upright.height() < 12) continue;
            const bool atEnd = near(upright.x1, flat.x0) || near(upright.x0, flat.x1);
            const bool above = near(upright.y0, flat.y1);
            const bool below = near(upright.y1, flat.y0);
            if (!atEnd || !(above || below)) continue;
            frames[i] = 1;
            frames[static_cast<std::size_t>(k - shapes.begin())] = 1;
        }
    }
}

}  // namespace

std::vector<Glyph> letterLikeShapes(const PixelPlanes& image, const ComponentSet& shapes,
                                    const EdgeMasks& edges, const CancellableDeadline& deadline) {
    std::vector<Component> candidates;
    for (const Component& shape : shapes.components) {
        deadline.check();
        if (shape.area < 2) continue;
        if (isPartOfFrame(shape, shapes, edges.lines) || isSwitch(shape, shapes)) continue;
        candidates.push_back(shape);
    }
    std::sort(candidates.begin(), candidates.end(),
              [](const Component& a, const Component& b) { return a.box.x0 < b.box.x0; });
    std::vector<char> frames = findFrames(image, shapes, candidates, deadline);
    markBrokenFrames(candidates, frames, deadline);

    std::vector<Glyph> letters;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const PixelBox& box = candidates[i].box;
        if (frames[i] != 0 || box.height() > tallestLetter || box.width() > widestShape) continue;
        const PixelBox ink{box.x0 + 1, box.y0 + 1, box.x1, box.y1};
        if (ink.width() > 0 && ink.height() > 0) letters.push_back({ink, isClosed(candidates[i], shapes)});
    }
    return letters;
}

}  // namespace varkel
