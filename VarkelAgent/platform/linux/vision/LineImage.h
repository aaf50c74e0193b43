#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/vision/LineDetector.h"

namespace varkel {

/// A grey image of one line, black on white, as the recogniser likes it.
struct LineImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// A line cut out of an image at its own size.
struct LinePlane {
    int width = 0;
    int height = 0;
    /// How far each pixel is from its background, 0 to 255; each word stretched to the whole range.
    std::vector<float> darkness;
    /// The row below the letters without descenders.
    int baseline = 0;
    /// Whether there is ink both lighter and darker than the background, so that either may be the letters.
    bool ambiguous = false;
};

/// What a word's letters are told by: their contrast with the background, or by being the whitest there is,
/// as on labels that lie with a shadow on an image.
enum class Ink { contrasting, white };

/// Cuts a line out of an image. Every word has its own background and contrast, so that selected or coloured
/// words come out like the others. Any thread.
LinePlane extractLine(const PixelPlanes& image, const DetectedLine& line, Ink ink = Ink::contrasting);

/// The width in pixels of the image that prepareLine would make of a line, to be asked first: a line of a
/// single row becomes a thousand times as large. Any thread.
std::int64_t preparedWidth(const LinePlane& line);

/// The proportions of letters: their own, or narrower by an eighth, for another reading of what is doubtful.
enum class Proportions { usual, slim };

/// The line as the recogniser wants it: of the height that its model was trained on, with the baseline where
/// the model expects it. Any thread.
LineImage prepareLine(const LinePlane& line, Proportions proportions = Proportions::usual);

}  // namespace varkel
