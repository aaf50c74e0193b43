#pragma once

#include <vector>

#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/Patience.h"
#include "platform/linux/vision/ShapeFilter.h"

namespace varkel {

/// Joins glyphs, sorted by their left sides, into lines by overlap and distance, and leaves icons beside the
/// lines out. The lines come in reading order. Raises Patience::Over. Any thread.
std::vector<DetectedLine> groupIntoLines(const std::vector<Glyph>& glyphs, const Patience& patience);

}  // namespace varkel
