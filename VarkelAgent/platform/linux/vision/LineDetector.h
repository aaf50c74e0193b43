#pragma once

#include <cstddef>
#include <vector>

#include "platform/linux/vision/CancellableDeadline.h"
#include "platform/linux/vision/Pyramid.h"

namespace varkel {

/// Where a line of text seems to be.
struct DetectedLine {
    /// The box of the line's ink, in pixels of its level.
    PixelBox box;
    /// The boxes of its parts, most of them letters, from left to right.
    std::vector<PixelBox> parts;
    /// The level of the pyramid to cut it from, where its letters are not higher than a reader needs.
    std::size_t level = 0;

    /// The box in pixels of the image.
    PixelBox boxInImage() const {
        return {box.x0 << level, box.y0 << level, box.x1 << level, box.y1 << level};
    }
};

/// Finds what looks like lines of text, of letters of any size, in no order. Throws
/// CancellableDeadline::Passed. Any thread.
std::vector<DetectedLine> detectLines(const Pyramid& pyramid, const CancellableDeadline& deadline);

}  // namespace varkel
