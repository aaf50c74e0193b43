#pragma once

#include <vector>

#include "platform/linux/vision/LineDetector.h"

namespace varkel {

/// A line cut out of an image at its own size.
struct LinePlane {
    int width = 0;
    int height = 0;
    /// How far each pixel is from its background, 0 to 255; each word stretched to the whole range.
    std::vector<float> darkness;
    /// The row below the letters without descenders.
    int baseline = 0;
    /// Whether there is ink both lighter and darker than the background, so that either may be the letters.
    bool ambiguous = false;
};

/// What a word's letters are told by: their contrast with the background, or by being the whitest there is,
/// as on labels that lie with a shadow on an image.
enum class Ink { contrasting, white };

/// Cuts a line out of an image. Every word has its own background and contrast, so that selected or coloured
/// words come out like the others. Any thread.
LinePlane extractLine(const PixelPlanes& image, const DetectedLine& line, Ink ink = Ink::contrasting);

}  // namespace varkel
