#pragma once

#include <vector>

#include "platform/linux/vision/CancellableDeadline.h"
#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/ShapeFilter.h"

namespace varkel {

/// What is too small to be a letter and joins lines that are there, as dots and dashes do.
struct SmallParts {
    /// What is at least as high may start a line.
    int lowestLetter = 4;
    /// How far outside a line they may lie, in heights of the line.
    double reach = 0.45;
};

/// Joins glyphs, sorted by their left sides, into lines by overlap and distance, and leaves icons beside the
/// lines out. The lines come in no order. Throws CancellableDeadline::Passed. Any thread.
std::vector<DetectedLine> groupIntoLines(const std::vector<Glyph>& glyphs, SmallParts small,
                                         const CancellableDeadline& deadline);

}  // namespace varkel
