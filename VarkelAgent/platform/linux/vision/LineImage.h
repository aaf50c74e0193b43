#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/vision/LinePlane.h"

namespace varkel {

/// A grey image of one line, black on white, as the recogniser likes it.
struct LineImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// The width in pixels of the image that prepareLine would make of a line, to be asked first: a line of a
/// single row becomes a thousand times as large. Any thread.
std::int64_t preparedWidth(const LinePlane& line);

/// The proportions of letters: their own, or narrower by an eighth, for another reading of what is doubtful.
enum class Proportions { usual, slim };

/// The line as the recogniser wants it: of the height that its model was trained on, with the baseline where
/// the model expects it. Any thread.
LineImage prepareLine(const LinePlane& line, Proportions proportions = Proportions::usual);

}  // namespace varkel
