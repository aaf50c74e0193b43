#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

namespace varkel {

/// A rectangle in shares of an image's width and height, from 0 to 1, origin bottom left.
struct CGRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const CGRect&, const CGRect&) = default;
};

/// The bytes of an image file. Only the backend that made it looks inside.
class CGImageSource {
  public:
    CGImageSource() = default;
    CGImageSource(const CGImageSource&) = delete;
    CGImageSource& operator=(const CGImageSource&) = delete;
    virtual ~CGImageSource() = default;
};
using CGImageSourceRef = std::shared_ptr<const CGImageSource>;

/// A decoded bitmap; immutable. Only the backend that made it looks inside.
class CGImage {
  public:
    CGImage() = default;
    CGImage(const CGImage&) = delete;
    CGImage& operator=(const CGImage&) = delete;
    virtual ~CGImage() = default;
};
using CGImageRef = std::shared_ptr<const CGImage>;

/// One reading of a line.
struct VNRecognizedText {
    std::string string;
    /// 0 to 1.
    float confidence = 0;
};

/// One line of text.
struct VNRecognizedTextObservation {
    CGRect boundingBox;
    /// The line's readings, the best first.
    std::vector<VNRecognizedText> candidates;

    /// The best `maxCount` readings; fewer, or none, when there are no more.
    std::span<const VNRecognizedText> topCandidates(std::size_t maxCount) const {
        return std::span(candidates).first(maxCount < candidates.size() ? maxCount : candidates.size());
    }
};

/// One barcode.
struct VNBarcodeObservation {
    CGRect boundingBox;
    std::optional<std::string> payloadStringValue;
    float confidence = 0;
};

/// Asks for the text in an image. `results` is filled by a run, in reading order.
struct VNRecognizeTextRequest {
    std::optional<std::vector<VNRecognizedTextObservation>> results;
};

/// Asks for the barcodes of all kinds in an image. `results` is filled by a run.
struct VNDetectBarcodesRequest {
    std::optional<std::vector<VNBarcodeObservation>> results;
};

using VNRequest = std::variant<VNRecognizeTextRequest*, VNDetectBarcodesRequest*>;

/// The desktop has no recogniser, or none that can be started now. what() says so in words for a caller.
class VisionUnavailable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Decodes images, reads their text and finds their barcodes. Every operation may be called from any thread,
/// for several images at once; all block the caller while they work, and may throw VisionUnavailable.
class Vision {
  public:
    virtual ~Vision() = default;

    /// Takes the bytes of an image file; null when they are of no kind that the backend decodes.
    virtual CGImageSourceRef CGImageSourceCreateWithData(std::string bytes) = 0;

    /// Decodes an image of a file that may hold several; null when there is no such image, when it is broken,
    /// or when it is too large for the backend.
    virtual CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) = 0;

    /// The width in pixels.
    virtual std::size_t CGImageGetWidth(const CGImageRef& image) = 0;

    /// The height in pixels.
    virtual std::size_t CGImageGetHeight(const CGImageRef& image) = 0;

    /// Runs the requests on the image in order and fills in their results; false when one of them failed or
    /// `cancelled` was requested, which takes effect no later than at the next line of text.
    virtual bool performRequests(const CGImageRef& image, std::span<const VNRequest> requests,
                                 const std::stop_token& cancelled) = 0;
};

}  // namespace varkel
