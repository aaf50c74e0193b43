#pragma once

#include "platform/linux/vision/LineRecogniser.h"

namespace varkel {

/// Of two readings of a line from images of different proportions the surer one. What is text reads alike
/// both times; where the two differ in most characters, the result is less sure than either. Any thread.
LineReading surerReading(LineReading first, LineReading second);

}  // namespace varkel
