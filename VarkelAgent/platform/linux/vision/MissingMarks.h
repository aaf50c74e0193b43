#pragma once

#include <optional>
#include <vector>

#include "platform/linux/vision/GlyphShapes.h"
#include "platform/linux/vision/ReadingLetters.h"

namespace varkel {

/// The letters of a reading with the dots, commas, dashes and underscores that it lacks within words and
/// numbers, by the shapes of its line; nothing where it lacks none or anything else does not match.
/// `capHeight` is the height of capitals in pixels of the line. Any thread.
std::optional<std::vector<Letter>> withMissingMarks(std::vector<Letter> letters,
                                                    const std::vector<GlyphShape>& shapes,
                                                    const LinePlane& line, int capHeight);

}  // namespace varkel
