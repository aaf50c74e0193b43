#pragma once

#include <memory>
#include <span>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// Decodes the first picture of a PNG, JPEG, TIFF, WebP, GIF, BMP or PNM file. The size that the file claims
/// is checked before anything is allocated for it; transparent pixels are laid on white. Null when the bytes
/// are no such file, are broken, or the picture is beyond 64 megapixels. Prints nothing. Any thread.
std::shared_ptr<const PixelPlanes> decodeImage(std::span<const unsigned char> bytes);

}  // namespace varkel
