#pragma once

#include <memory>
#include <span>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// The largest image that is read, in pixels.
inline constexpr long long largestImage = 64LL << 20;

/// Decodes the first image of a PNG, JPEG, TIFF, WebP, GIF, BMP or PNM file. The size that the file claims
/// is checked before anything is allocated for it; transparent pixels are laid on white. Null when the bytes
/// are no such file, are broken, or the image has more than `mostPixels` pixels.
/// Prints nothing. Any thread.
std::shared_ptr<const PixelPlanes> decodeImage(std::span<const unsigned char> bytes,
                                               long long mostPixels = largestImage);

}  // namespace varkel
