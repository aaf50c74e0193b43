#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// Decodes a JPEG file whose size was checked before; null when it is broken beyond its first rows. What is
/// missing at the end of a cut file stays grey. Prints nothing. Any thread.
std::shared_ptr<PixelPlanes> decodeJPEG(std::span<const unsigned char> bytes);

}  // namespace varkel
