#pragma once

#include <vector>

#include "platform/linux/vision/Patience.h"
#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// Where a line of text seems to be.
struct DetectedLine {
    /// The box of the line's ink.
    PixelBox box;
    /// The boxes of its parts, most of them letters, from left to right.
    std::vector<PixelBox> parts;
};

/// Finds what looks like lines of text, in reading order: rows from the top, each from the left. Raises
/// Patience::Over. Any thread.
std::vector<DetectedLine> detectLines(const PixelPlanes& image, const Patience& patience);

}  // namespace varkel
