#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// Decodes a JPEG file; null when it is broken beyond its first rows or has more pixels than `maxPixels`,
/// which is told before anything is allocated. What is missing at the end of a cut file stays grey. Prints
/// nothing. Any thread.
std::shared_ptr<PixelPlanes> decodeJPEG(std::span<const unsigned char> bytes, long long maxPixels);

}  // namespace varkel
