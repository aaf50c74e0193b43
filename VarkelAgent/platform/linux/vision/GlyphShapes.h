#pragma once

#include <optional>
#include <vector>

#include "platform/linux/vision/LinePlane.h"

namespace varkel {

/// How dark a pixel of a line is; 0 outside of it.
float darknessAt(const LinePlane& line, int x, int y);

/// One character's shape on a line, in the line's own pixels. Dots are part of the stem below them.
struct GlyphShape {
    PixelBox box;
    double centre() const { return (box.x0 + box.x1) / 2.0; }
};

/// Cuts a line into shapes from left to right: what touches at this darkness (0 to 255) is one shape.
std::vector<GlyphShape> cutGlyphs(const LinePlane& line, float inkLevel);

/// What upright strokes such as 1, l, i, I and | differ in.
struct StemTraits {
    bool gap = false;
    bool flagLeft = false;
    bool topRight = false;
    bool footLeft = false;
    bool footRight = false;
};

StemTraits stemTraits(const LinePlane& line, const GlyphShape& glyph);

/// Whether there is ink in the middle of a round shape, as in zeros with a slash or a dot.
bool hasInkInMiddle(const LinePlane& line, const GlyphShape& glyph);

/// The grid of a fixed-pitch line: the cell that each glyph stands in, from 0. Nothing when the glyphs do not
/// stand on a grid or are too few to tell.
std::optional<std::vector<int>> fixedPitchCells(const std::vector<GlyphShape>& glyphs, int capHeight);

}  // namespace varkel
