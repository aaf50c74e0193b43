#pragma once

#include <atomic>
#include <functional>
#include <string>

#include "support/FakeDesktop.h"

namespace varkel::test {

/// The fake desktop for the image endpoints: with a recogniser that answers what the test wrote down, and
/// an application in front that shows nothing.
class ScriptedDesktop : public FakeDesktop {
  public:
    ScriptedDesktop();

    /// The size of every image. Bytes that begin with "img" are images, all others none.
    std::size_t width = 1000;
    std::size_t height = 400;
    std::vector<VNRecognizedTextObservation> text;
    std::vector<VNBarcodeObservation> barcodes;
    bool recognitionFails = false;
    /// Called in every run, before it answers.
    std::function<void(const std::stop_token&)> duringRun = [](const std::stop_token&) {};

    std::atomic<int> runs = 0;
    /// The last bytes that were given to decode.
    std::string lastBytes;

  private:
    class ScriptedVision;
};

/// An observation with one reading.
VNRecognizedTextObservation line(std::string text, CGRect box, float confidence = 0.9F);

}  // namespace varkel::test
