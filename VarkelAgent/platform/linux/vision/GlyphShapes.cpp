#include "platform/linux/vision/GlyphShapes.h"

#include <algorithm>
#include <cmath>

#include "platform/linux/vision/Components.h"

namespace varkel {

namespace {

/// The mean darkness of a part of the line; 0 for an empty one.
float meanDarkness(const LinePlane& line, const PixelBox& box) {
    if (box.width() <= 0 || box.height() <= 0) return 0;
    float sum = 0;
    for (int y = box.y0; y < box.y1; ++y) {
        for (int x = box.x0; x < box.x1; ++x) sum += darknessAt(line, x, y);
    }
    return sum / static_cast<float>(box.width() * box.height());
}

int columnOfStem(const LinePlane& line, const PixelBox& box) {
    int best = box.x0;
    float most = -1;
    for (int x = box.x0; x < box.x1; ++x) {
        const float sum = meanDarkness(line, {x, box.y0, x + 1, box.y1});
        if (sum <= most) continue;
        most = sum;
        best = x;
    }
    return best;
}

/// How well points stand on a grid of this pitch: the share of them within a sixth of a cell.
double gridShare(const std::vector<GlyphShape>& glyphs, double pitch, double origin) {
    int near = 0;
    for (const GlyphShape& glyph : glyphs) {
        const double cell = (glyph.centre() - origin) / pitch;
        if (std::abs(cell - std::round(cell)) <= 0.16) ++near;
    }
    return static_cast<double>(near) / static_cast<double>(glyphs.size());
}

}  // namespace

float darknessAt(const LinePlane& line, int x, int y) {
    if (x < 0 || y < 0 || x >= line.width || y >= line.height) return 0;
    return line.darkness[static_cast<std::size_t>(y) * static_cast<std::size_t>(line.width) +
                         static_cast<std::size_t>(x)];
}

std::vector<GlyphShape> cutGlyphs(const LinePlane& line, float inkLevel) {
    Mask ink(line.width, line.height);
    for (std::size_t i = 0; i < ink.bits.size(); ++i) ink.bits[i] = line.darkness[i] >= inkLevel ? 1 : 0;
    std::vector<Component> parts = findComponents(ink).components;
    std::sort(parts.begin(), parts.end(),
              [](const Component& a, const Component& b) { return a.box.x0 < b.box.x0; });
    std::vector<GlyphShape> glyphs;
    for (const Component& part : parts) {
        if (!glyphs.empty()) {
            PixelBox& last = glyphs.back().box;
            const int common = std::min(last.x1, part.box.x1) - std::max(last.x0, part.box.x0);
            if (common > 0 && 2 * common >= std::min(last.width(), part.box.width())) {
                last = {std::min(last.x0, part.box.x0), std::min(last.y0, part.box.y0),
                        std::max(last.x1, part.box.x1), std::max(last.y1, part.box.y1)};
                continue;
            }
        }
        glyphs.push_back({part.box});
    }
    return glyphs;
}

StemTraits stemTraits(const LinePlane& line, const GlyphShape& glyph) {
    const PixelBox& box = glyph.box;
    const int height = box.height();
    const int stem = columnOfStem(line, box);
    const float stemInk = meanDarkness(line, {stem, box.y0, stem + 1, box.y1});
    const auto isInk = [&](int x0, int x1, int y0, int y1) {
        return meanDarkness(line, {x0, y0, x1, y1}) > 0.3F * stemInk;
    };
    StemTraits traits;
    const float body = meanDarkness(line, {stem, box.y0 + height / 2, stem + 1, box.y1});
    for (int y = box.y0 + 1; y < box.y0 + height / 2; ++y) {
        traits.gap = traits.gap || meanDarkness(line, {stem, y, stem + 1, y + 1}) < 0.85F * body;
    }
    // One pixel beside the stem may belong to its soft edge.
    const int left = stem - 1;
    const int right = stem + 2;
    const int top = box.y0 + std::max(2, height * 2 / 5);
    const int bottom = box.y1 - std::max(1, height / 7);
    traits.flagLeft = isInk(box.x0, left, box.y0, top);
    traits.topRight = isInk(right, box.x1, box.y0, box.y0 + std::max(1, height / 7));
    traits.footLeft = isInk(box.x0, left, bottom, box.y1);
    traits.footRight = isInk(right, box.x1, bottom, box.y1);
    return traits;
}

bool hasInkInMiddle(const LinePlane& line, const GlyphShape& glyph) {
    const PixelBox& box = glyph.box;
    const int x = (box.x0 + box.x1 - 1) / 2;
    const int y = (box.y0 + box.y1 - 1) / 2;
    return meanDarkness(line, {x, y - 1, x + 1 + (box.width() + 1) % 2, y + 2}) > 80;
}

std::optional<std::vector<int>> fixedPitchCells(const std::vector<GlyphShape>& glyphs, int capHeight) {
    constexpr std::size_t fewest = 10;
    if (glyphs.size() < fewest || capHeight < 5) return std::nullopt;
    double bestPitch = 0;
    double bestOrigin = 0;
    double bestShare = 0.92;
    const double first = glyphs.front().centre();
    for (double pitch = 0.55 * capHeight; pitch <= 1.15 * capHeight; pitch += 0.02) {
        for (double shift = -0.15; shift <= 0.15; shift += 0.075) {
            const double share = gridShare(glyphs, pitch, first + shift * pitch);
            // Of equal fits the wider pitch: half of a pitch fits as well.
            if (share < bestShare) continue;
            bestShare = share;
            bestPitch = pitch;
            bestOrigin = first + shift * pitch;
        }
    }
    if (bestPitch == 0) return std::nullopt;
    for (const GlyphShape& glyph : glyphs) {
        if (glyph.box.width() > 1.1 * bestPitch + 1) return std::nullopt;
    }
    std::vector<int> cells;
    for (const GlyphShape& glyph : glyphs) {
        cells.push_back(static_cast<int>(std::lround((glyph.centre() - bestOrigin) / bestPitch)));
        if (cells.size() > 1 && cells.back() <= cells[cells.size() - 2]) return std::nullopt;
    }
    return cells;
}

}  // namespace varkel
