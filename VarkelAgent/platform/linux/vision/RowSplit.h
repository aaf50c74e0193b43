#pragma once

#include <vector>

#include "platform/linux/vision/LineDetector.h"

namespace varkel {

/// Takes apart what is far higher than its parts: rows of text that frames or the texture of an image have
/// joined. Each row becomes a line, and what stands on none is dropped. Any thread.
void splitIntoRows(std::vector<DetectedLine>& lines);

}  // namespace varkel
