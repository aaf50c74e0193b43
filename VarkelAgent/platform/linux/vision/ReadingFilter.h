#pragma once

#include <vector>

#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/LineRecogniser.h"
#include "platform/linux/vision/RecognisedLine.h"

namespace varkel {

/// Whether a reading is text that a person would read there, rather than an icon or texture that was taken
/// for letters. Any thread.
bool isText(const LineReading& reading, const DetectedLine& line);

/// Leaves single characters out that are not read surely and have nothing of their size in their row: icons
/// that look like letters are larger or smaller than the text around them. Any thread.
void dropLonelyIcons(std::vector<RecognisedLine>& lines);

}  // namespace varkel
