#pragma once

#include <string>

#include "platform/linux/vision/LineImage.h"
#include "platform/linux/vision/LineRecogniser.h"

namespace varkel {

/// Corrects a reading by the shapes on the line where they can be told apart and the model often fails:
/// blanks in fixed-pitch text, one and small L, zero and capital O, lost underscores. The line's shapes are
/// matched with the reading's characters one to one; where the counts differ the reading stays as it is. Any
/// thread.
std::string repairReading(const LineReading& reading, const LinePlane& line);

}  // namespace varkel
