#pragma once

#include <cstddef>
#include <utility>

#include "platform/Vision.h"
#include "platform/linux/vision/TextRecogniser.h"

namespace varkel {

/// Image decoding, text recognition and barcode detection inside this process.
class LinuxVision final : public Vision {
  public:
    LinuxVision() = default;
    /// With a recogniser of the caller's making.
    LinuxVision(TextRecogniser::MakeLineRecogniser make, unsigned workers, std::size_t rememberedLines)
        : recogniser_(std::move(make), workers, rememberedLines) {}

    CGImageSourceRef CGImageSourceCreateWithData(std::string bytes) override;
    CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) override;
    std::size_t CGImageGetWidth(const CGImageRef& image) override;
    std::size_t CGImageGetHeight(const CGImageRef& image) override;
    bool performRequests(const CGImageRef& image, std::span<const VNRequest> requests,
                         const std::stop_token& cancelled) override;

  private:
    TextRecogniser recogniser_;
};

}  // namespace varkel
