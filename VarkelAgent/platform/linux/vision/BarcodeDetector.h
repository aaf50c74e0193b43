#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

struct DetectedBarcode {
    /// May reach beyond the image by a pixel where a corner was extrapolated.
    PixelBox box;
    /// UTF-8; nothing when the code holds no text.
    std::optional<std::string> payload;
    float confidence = 0;
};

/// Finds the barcodes of all kinds in an image, turned ones included. Any thread.
std::vector<DetectedBarcode> detectBarcodes(const PixelPlanes& image);

}  // namespace varkel
