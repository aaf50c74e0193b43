#pragma once

#include <vector>

#include "platform/linux/vision/CancellableDeadline.h"
#include "platform/linux/vision/LineDetector.h"

namespace varkel {

/// Cuts lines that run across two columns of a table because a long entry leaves little space before the
/// next: where at least two rows nearby begin at the same places and are cut there. Lines keep no order.
/// Throws CancellableDeadline::Passed. Any thread.
void splitAtColumns(std::vector<DetectedLine>& lines, const CancellableDeadline& deadline);

}  // namespace varkel
