#pragma once

#include <string>

#include "platform/linux/vision/LinePlane.h"
#include "platform/linux/vision/LineRecogniser.h"

namespace varkel {

/// The text of a reading, corrected by the shapes on the line where they can be told apart and the model
/// often fails: blanks in fixed-pitch text and beside dots, one and small L, zero and capital O. The line's
/// shapes are matched with the reading's characters one to one; where the counts differ they are aligned,
/// unless the model was sure. Any thread.
std::string repairReading(const LineReading& reading, const LinePlane& line);

}  // namespace varkel
