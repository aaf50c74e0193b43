#include "platform/linux/vision/LineGrouping.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "platform/linux/vision/ColumnSplit.h"
#include "platform/linux/vision/RowSplit.h"

namespace varkel {

namespace {

/// The widest gap between two words of a line, in heights of the line.
constexpr double wordGap = 1.3;

int commonHeight(const PixelBox& a, const PixelBox& b) {
    return std::min(a.y1, b.y1) - std::max(a.y0, b.y0);
}

/// The horizontal distance of two boxes, negative when they overlap.
int gapBetween(const PixelBox& a, const PixelBox& b) {
    return std::max(a.x0, b.x0) - std::min(a.x1, b.x1);
}

bool sameLine(const PixelBox& a, const PixelBox& b, double overlap, double likeness) {
    const int low = std::min(a.height(), b.height());
    const int high = std::max(a.height(), b.height());
    return low >= likeness * high && commonHeight(a, b) >= overlap * low &&
           gapBetween(a, b) <= wordGap * high;
}

/// The height of a line's capitals, from the lowest top to the usual bottom of its parts.
struct Core {
    int top = 0;
    int bottom = 0;
    int height() const { return bottom - top; }
};

Core coreOf(std::vector<Glyph>::const_iterator from, std::vector<Glyph>::const_iterator to) {
    std::vector<int> bottoms;
    Core core{std::numeric_limits<int>::max(), 0};
    for (auto part = from; part != to; ++part) {
        core.top = std::min(core.top, part->box.y0);
        bottoms.push_back(part->box.y1);
    }
    std::nth_element(bottoms.begin(), bottoms.begin() + static_cast<std::ptrdiff_t>(bottoms.size() / 2),
                     bottoms.end());
    core.bottom = bottoms[bottoms.size() / 2];
    return core;
}

/// Whether a part that stands apart at an end of a line is an icon rather than a letter of it.
bool isIcon(const Glyph& part, const Core& text, int gap) {
    const PixelBox& box = part.box;
    // What is left of a round frame: an upright stroke farther away than a blank is wide.
    if (box.width() <= 3 && gap >= 0.8 * text.height() && box.height() >= 0.9 * text.height()) return true;
    if (gap < 0.3 * text.height() || box.height() < 9) return false;
    const bool high = box.height() > 1.15 * text.height();
    const bool squarish = box.width() >= 0.7 * box.height() && box.width() <= 1.5 * box.height();
    const bool outside = box.y0 < text.top && box.y1 > text.bottom;
    return squarish && high && (part.closed || outside);
}

/// Whether a line is nothing but icons: closed squarish shapes higher than most text.
bool isAllIcons(const std::vector<Glyph>& stacks) {
    return std::all_of(stacks.begin(), stacks.end(),
                       [](const Glyph& stack) { return stack.closed && stack.box.height() >= 24; });
}

/// Makes one part of parts that lie above each other or within each other: dots on their stems, marks in
/// their boxes. Parts are sorted by their left sides, before and after.
std::vector<Glyph> stacked(const std::vector<Glyph>& parts) {
    std::vector<Glyph> stacks;
    for (const Glyph& part : parts) {
        if (stacks.empty() || part.box.x1 > stacks.back().box.x1 || part.box.x0 >= stacks.back().box.x1) {
            stacks.push_back(part);
            continue;
        }
        Glyph& stack = stacks.back();
        stack.box = united(stack.box, part.box);
    }
    return stacks;
}

/// Takes icons, checkboxes and radio buttons off the ends of a line; parts are sorted by their left sides.
void dropIcons(std::vector<Glyph>& parts) {
    std::vector<Glyph> stacks = stacked(parts);
    if (isAllIcons(stacks)) parts.clear();
    if (parts.empty() || stacks.size() < 2) return;
    const Core rest = coreOf(stacks.begin() + 1, stacks.end());
    if (isIcon(stacks.front(), rest, stacks[1].box.x0 - stacks[0].box.x1)) {
        const int end = stacks.front().box.x1;
        std::erase_if(parts, [end](const Glyph& part) { return part.box.x1 <= end; });
        stacks.erase(stacks.begin());
    }
    if (stacks.size() < 2) return;
    const Glyph& last = stacks.back();
    const Core before = coreOf(stacks.begin(), stacks.end() - 1);
    if (isIcon(last, before, last.box.x0 - stacks[stacks.size() - 2].box.x1)) {
        const int start = last.box.x0;
        std::erase_if(parts, [start](const Glyph& part) { return part.box.x0 >= start; });
    }
}

/// Lines under construction: groups of parts with their common boxes.
class Groups {
  public:
    Groups(const std::vector<Glyph>& glyphs, SmallParts small, const CancellableDeadline& deadline)
        : glyphs_(glyphs), limits_(small), deadline_(deadline) {}

    void build() {
        startFromLetters();
        mergeGroups();
        releaseLowGroups();
        for (int round = 0; round < 2; ++round) {
            attachSmallParts();
            mergeGroups();
        }
    }

    std::vector<DetectedLine> take() {
        std::vector<DetectedLine> lines;
        for (Group& group : groups_) {
            std::sort(group.parts.begin(), group.parts.end(),
                      [](const Glyph& a, const Glyph& b) { return a.box.x0 < b.box.x0; });
            dropIcons(group.parts);
            if (group.parts.empty()) continue;
            DetectedLine& line = lines.emplace_back(DetectedLine{group.parts.front().box, {}});
            for (const Glyph& part : group.parts) {
                line.parts.push_back(part.box);
                line.box = united(line.box, part.box);
            }
        }
        return lines;
    }

  private:
    struct Group {
        PixelBox box;
        std::vector<Glyph> parts;
    };

    void startFromLetters() {
        std::vector<std::size_t> letters;
        for (std::size_t i = 0; i < glyphs_.size(); ++i) {
            if (glyphs_[i].box.height() >= limits_.lowestLetter) {
                letters.push_back(i);
            } else {
                small_.push_back(glyphs_[i]);
            }
        }
        std::vector<std::size_t> parents(letters.size());
        std::iota(parents.begin(), parents.end(), std::size_t{0});
        const auto find = [&](std::size_t i) {
            while (parents[i] != i) i = parents[i] = parents[parents[i]];
            return i;
        };
        for (std::size_t i = 0; i < letters.size(); ++i) {
            deadline_.check();
            const PixelBox& a = glyphs_[letters[i]].box;
            for (std::size_t k = i + 1; k < letters.size(); ++k) {
                const PixelBox& b = glyphs_[letters[k]].box;
                // A right neighbour is at most 1 / likeness times as high.
                if (b.x0 - a.x1 > wordGap * a.height() / letterLikeness) break;
                if (sameLine(a, b, 0.6, letterLikeness)) parents[find(k)] = find(i);
            }
        }
        std::vector<std::size_t> groupOf(letters.size(), std::numeric_limits<std::size_t>::max());
        for (std::size_t i = 0; i < letters.size(); ++i) {
            std::size_t& group = groupOf[find(i)];
            const Glyph& glyph = glyphs_[letters[i]];
            if (group == std::numeric_limits<std::size_t>::max()) {
                group = groups_.size();
                groups_.push_back({glyph.box, {}});
            }
            add(groups_[group], glyph);
        }
    }

    /// Commas and quotes are high enough to start groups, but far lower than the line beside them. A short
    /// word beside an image is as low, but has more pieces.
    void releaseLowGroups() {
        constexpr std::size_t mostPieces = 2;
        std::vector<char> low(groups_.size());
        for (std::size_t i = 0; i < groups_.size(); ++i) {
            deadline_.check();
            if (groups_[i].parts.size() > mostPieces) continue;
            for (std::size_t k = 0; k < groups_.size() && low[i] == 0; ++k) {
                const PixelBox& box = groups_[i].box;
                if (box.height() <= 0.6 * groups_[k].box.height() &&
                    box.width() <= 0.6 * groups_[k].box.height() &&
                    distanceTo(box, groups_[k].box) < std::numeric_limits<double>::max()) {
                    low[i] = 1;
                }
            }
        }
        for (std::size_t i = 0; i < groups_.size(); ++i) {
            if (low[i] == 0) continue;
            small_.insert(small_.end(), groups_[i].parts.begin(), groups_[i].parts.end());
            groups_[i].parts.clear();
        }
        std::erase_if(groups_, [](const Group& group) { return group.parts.empty(); });
    }

    /// Gives dots, dashes, quotes and accents to the nearest line.
    void attachSmallParts() {
        std::vector<Glyph> rest;
        for (const Glyph& part : small_) {
            deadline_.check();
            Group* best = nullptr;
            double least = std::numeric_limits<double>::max();
            for (Group& group : groups_) {
                const double distance = distanceTo(part.box, group.box);
                if (group.parts.empty() || distance >= least) continue;
                least = distance;
                best = &group;
            }
            if (best != nullptr) {
                add(*best, part);
            } else {
                rest.push_back(part);
            }
        }
        small_ = std::move(rest);
    }

    /// How far a small part is from a line that could hold it, or the greatest value.
    double distanceTo(const PixelBox& part, const PixelBox& line) const {
        constexpr double never = std::numeric_limits<double>::max();
        const int height = line.height();
        const int gap = std::max(0, gapBetween(part, line));
        if (gap > wordGap * height) return never;
        const double middle = (part.y0 + part.y1) / 2.0;
        const double outside = std::max({0.0, line.y0 - middle, middle - line.y1});
        if (outside > limits_.reach * height || part.height() > height) return never;
        return outside * 3 + gap;
    }

    void mergeGroups() {
        bool changed = true;
        while (changed) {
            changed = false;
            std::sort(groups_.begin(), groups_.end(),
                      [](const Group& a, const Group& b) { return a.box.x0 < b.box.x0; });
            for (std::size_t i = 0; i < groups_.size(); ++i) {
                deadline_.check();
                for (std::size_t k = i + 1; k < groups_.size() && !groups_[i].parts.empty(); ++k) {
                    if (groups_[k].parts.empty()) continue;
                    if (groups_[k].box.x0 > groups_[i].box.x1 + 2 * wordGap * tallestMerge) break;
                    if (!sameLine(groups_[i].box, groups_[k].box, 0.6, lineLikeness) &&
                        !isBracketBefore(groups_[i], groups_[k])) {
                        continue;
                    }
                    for (const Glyph& part : groups_[k].parts) groups_[i].parts.push_back(part);
                    groups_[i].box = united(groups_[i].box, groups_[k].box);
                    groups_[k].parts.clear();
                    changed = true;
                }
            }
            std::erase_if(groups_, [](const Group& group) { return group.parts.empty(); });
        }
    }

    /// A closing bracket stands two blanks before the comment of its line.
    static bool isBracketBefore(const Group& bracket, const Group& line) {
        const PixelBox& box = bracket.box;
        if (bracket.parts.size() != 1 || line.parts.size() < 3 || box.width() > 0.55 * box.height())
            return false;
        const int low = std::min(box.height(), line.box.height());
        const int gap = gapBetween(box, line.box);
        return box.height() >= 0.95 * line.box.height() && commonHeight(box, line.box) >= 0.9 * low &&
               gap <= 1.8 * box.height() && box.x0 < line.box.x0;
    }

    static void add(Group& group, const Glyph& part) {
        group.box = united(group.box, part.box);
        group.parts.push_back(part);
    }

    static constexpr double letterLikeness = 0.42;
    static constexpr double lineLikeness = 0.45;
    static constexpr int tallestMerge = 120;

    const std::vector<Glyph>& glyphs_;
    const SmallParts limits_;
    const CancellableDeadline& deadline_;
    std::vector<Glyph> small_;
    std::vector<Group> groups_;
};

}  // namespace

std::vector<DetectedLine> groupIntoLines(const std::vector<Glyph>& glyphs, SmallParts small,
                                         const CancellableDeadline& deadline) {
    Groups groups(glyphs, small, deadline);
    groups.build();
    std::vector<DetectedLine> lines = groups.take();
    splitIntoRows(lines);
    splitAtColumns(lines, deadline);
    std::erase_if(lines,
                  [](const DetectedLine& line) { return line.box.height() < 5 || line.box.width() < 2; });
    return lines;
}

}  // namespace varkel
