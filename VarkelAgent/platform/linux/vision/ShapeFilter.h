#pragma once

#include <vector>

#include "platform/linux/vision/CancellableDeadline.h"
#include "platform/linux/vision/Components.h"
#include "platform/linux/vision/EdgeMask.h"

namespace varkel {

/// A shape that may be a letter, a part of one, or punctuation.
struct Glyph {
    /// The box of its ink.
    PixelBox box;
    /// Whether strokes run along all four sides, as in checkboxes and radio buttons, but also in O and D.
    bool closed = false;
};

/// The shapes that may be text: without frames, buttons, corners of frames and images. Sorted by their left
/// sides. Throws CancellableDeadline::Passed. Any thread.
std::vector<Glyph> letterLikeShapes(const PixelPlanes& image, const ComponentSet& shapes,
                                    const EdgeMasks& edges, const CancellableDeadline& deadline);

}  // namespace varkel
