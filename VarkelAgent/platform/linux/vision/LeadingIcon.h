#pragma once

#include <optional>

#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/LineRecogniser.h"

namespace varkel {

/// The line without its first shape, where that may be an icon or a mark beside a label rather than a letter:
/// about as wide as high, and farther from the next than the line's words are. Any thread.
std::optional<DetectedLine> withoutLeadingIcon(const DetectedLine& line);

/// Whether the first shape was none of the line's letters, by how the whole line was read and how the rest
/// was. Any thread.
bool beginsWithIcon(const LineReading& whole, const LineReading& rest);

}  // namespace varkel
