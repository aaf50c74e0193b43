#pragma once

#include "platform/linux/vision/Components.h"

namespace varkel {

/// Where the colour of an image changes. Bit (x, y) stands for the four pixels from (x, y) to
/// (x + 1, y + 1), so a mask is one smaller than its image both ways, and the ink of a shape whose bits
/// span x0 up to and without x1 spans x0 + 1 up to and without x1.
struct EdgeMasks {
    /// Edges other than those of long straight lines: what letters are made of.
    Mask shapes;
    /// Edges of long straight lines: frames, separators, underlines. Bits of EdgeDirection.
    Mask lines;
};

enum EdgeDirection : std::uint8_t { horizontalEdge = 1, verticalEdge = 2 };

/// Marks the edges of an image. Any thread.
EdgeMasks findEdges(const PixelPlanes& image);

}  // namespace varkel
