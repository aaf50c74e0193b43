#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "platform/linux/vision/GlyphShapes.h"

namespace varkel {

/// What is known of a read character: an ASCII character or 0 for any other, and whether a blank was read
/// before it.
struct LetterSketch {
    char character = 0;
    bool blankBefore = false;
};

/// Where capitals begin and letters stand, in the line's rows.
struct LetterRows {
    int top = 0;
    int baseline = 0;
};

/// The shapes of one letter: shapes[first .. first + count). A count of 0 says that it shares a shape with
/// its neighbours, or has none.
struct GlyphShare {
    std::size_t first = 0;
    std::size_t count = 0;
};

/// Gives shapes to letters where some letters touch and others fall apart, by the widths and heights that
/// letters have. Nothing where they do not fit well, or are too many to try. Any thread.
std::optional<std::vector<GlyphShare>> alignGlyphs(const std::vector<LetterSketch>& letters,
                                                   const std::vector<GlyphShape>& shapes, LetterRows rows);

}  // namespace varkel
