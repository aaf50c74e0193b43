#pragma once

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// A grey copy of an image in which only what is nearly white stands out, as letters on photographs do. Any
/// thread.
PixelPlanes whiteOf(const PixelPlanes& image);

}  // namespace varkel
