#pragma once

#include <vector>

#include "platform/linux/vision/LineDetector.h"
#include "platform/linux/vision/Patience.h"

namespace varkel {

/// Cuts lines that run across two columns of a table because a long entry leaves little space before the
/// next: where at least two rows nearby begin at the same places and are cut there. Lines keep no order.
/// Throws Patience::Over. Any thread.
void splitAtColumns(std::vector<DetectedLine>& lines, const Patience& patience);

}  // namespace varkel
