#pragma once

#include <memory>
#include <string>

#include "platform/linux/vision/LineImage.h"

namespace varkel {

/// What a line was read as. Empty text when nothing was.
struct LineReading {
    std::string text;
    /// 0 to 1: how sure the recogniser is of the line's words, by their lengths.
    float confidence = 0;
};

/// Reads single lines. Loads its model when made, in about 0.2 s. For the thread that made it.
class LineRecogniser {
  public:
    /// Null when there is no model to load.
    static std::unique_ptr<LineRecogniser> make();

    virtual ~LineRecogniser() = default;

    virtual LineReading read(const LineImage& line) = 0;
};

}  // namespace varkel
