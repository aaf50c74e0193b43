#pragma once

#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/LineRecogniser.h"

namespace varkel {

/// Whether a reading is text that a person would read there, rather than an icon or texture that was taken
/// for letters. Any thread.
bool isText(const LineReading& reading, const DetectedLine& line);

}  // namespace varkel
