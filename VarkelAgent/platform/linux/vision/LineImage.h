#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/vision/LineDetector.h"

namespace varkel {

/// A grey picture of one line, black on white, as the recogniser likes it.
struct LineImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Cuts a line out of a picture: background to white by each word's own background, contrast stretched word by
/// word, scaled to a height of about `inkHeight` pixels, with a white border. Any thread.
LineImage prepareLine(const PixelPlanes& image, const DetectedLine& line, int inkHeight);

}  // namespace varkel
