#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Screen.h"

namespace varkel {

/// The image with at most this many pixels in a row, each the mean of those that it stands for. Any thread,
/// like all of these.
ScreenImage scaledDown(ScreenImage image, int maxWidth);

/// A PNG file, compressed for speed. Throws std::runtime_error.
std::string encodePNG(const ScreenImage& image);

std::string encodeBase64(std::string_view bytes);

}  // namespace varkel
