#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>

#include "base/AXFrame.h"
#include "platform/Vision.h"

namespace varkel {

/// One recognised line.
struct OCRResult {
    std::string text;
    /// 0 to 1.
    float confidence = 0;
    /// In pixels of the image, origin top left.
    std::optional<AXFrame> boundingBox;
    friend bool operator==(const OCRResult&, const OCRResult&) = default;
};
BOOST_DESCRIBE_STRUCT(OCRResult, (), (text, confidence, boundingBox))

/// A box in shares of an image, origin bottom left, as pixels of an image of this size, origin top left.
/// Nothing is rounded.
inline AXFrame pixelFrame(const CGRect& box, double width, double height) {
    return {box.x * width, (1.0 - box.y - box.height) * height, box.width * width, box.height * height};
}

}  // namespace varkel
