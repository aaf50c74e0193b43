#pragma once

#include <string>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// One line read on an image.
struct RecognisedLine {
    PixelBox box;
    std::string text;
    float confidence = 0;
};

}  // namespace varkel
