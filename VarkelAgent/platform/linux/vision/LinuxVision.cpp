#include "platform/linux/vision/LinuxVision.h"

#include <utility>

#include "platform/linux/vision/BarcodeDetector.h"
#include "platform/linux/vision/ImageDecoder.h"

namespace varkel {

namespace {

class FileBytes final : public CGImageSource {
  public:
    explicit FileBytes(std::string content) : bytes(std::move(content)) {}
    const std::string bytes;
};

class DecodedImage final : public CGImage {
  public:
    explicit DecodedImage(std::shared_ptr<const PixelPlanes> content) : planes(std::move(content)) {}
    const std::shared_ptr<const PixelPlanes> planes;
};

const PixelPlanes* planesOf(const CGImageRef& image) {
    const auto* decoded = dynamic_cast<const DecodedImage*>(image.get());
    return decoded != nullptr ? decoded->planes.get() : nullptr;
}

CGRect normalised(const PixelBox& box, const PixelPlanes& image) {
    const double width = image.width;
    const double height = image.height;
    return {box.x0 / width, (height - box.y1) / height, box.width() / width, box.height() / height};
}

bool recogniseText(TextRecogniser& recogniser, const PixelPlanes& image, VNRecognizeTextRequest& request,
                   const std::stop_token& cancelled) {
    auto lines = recogniser.recognise(image, cancelled);
    if (!lines) return false;
    auto& results = request.results.emplace();
    for (RecognisedLine& line : *lines) {
        results.push_back({normalised(line.box, image), {{std::move(line.text), line.confidence}}});
    }
    return true;
}

bool findBarcodes(const PixelPlanes& image, VNDetectBarcodesRequest& request) {
    auto& results = request.results.emplace();
    for (DetectedBarcode& code : detectBarcodes(image)) {
        results.push_back({normalised(code.box, image), std::move(code.payload), code.confidence});
    }
    return true;
}

}  // namespace

CGImageSourceRef LinuxVision::CGImageSourceCreateWithData(std::string bytes) {
    if (bytes.empty()) return nullptr;
    return std::make_shared<const FileBytes>(std::move(bytes));
}

CGImageRef LinuxVision::CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) {
    const auto* file = dynamic_cast<const FileBytes*>(source.get());
    if (file == nullptr || index != 0) return nullptr;
    auto planes =
        decodeImage({reinterpret_cast<const unsigned char*>(file->bytes.data()), file->bytes.size()});
    return planes ? std::make_shared<const DecodedImage>(std::move(planes)) : nullptr;
}

std::size_t LinuxVision::CGImageGetWidth(const CGImageRef& image) {
    const PixelPlanes* planes = planesOf(image);
    return planes != nullptr ? static_cast<std::size_t>(planes->width) : 0;
}

std::size_t LinuxVision::CGImageGetHeight(const CGImageRef& image) {
    const PixelPlanes* planes = planesOf(image);
    return planes != nullptr ? static_cast<std::size_t>(planes->height) : 0;
}

bool LinuxVision::performRequests(const CGImageRef& image, std::span<const VNRequest> requests,
                                  const std::stop_token& cancelled) {
    const PixelPlanes* planes = planesOf(image);
    if (planes == nullptr) return false;
    for (const VNRequest& request : requests) {
        if (cancelled.stop_requested()) return false;
        const auto* text = std::get_if<VNRecognizeTextRequest*>(&request);
        const bool done = text != nullptr
                              ? recogniseText(recogniser_, *planes, **text, cancelled)
                              : findBarcodes(*planes, *std::get<VNDetectBarcodesRequest*>(request));
        if (!done) return false;
    }
    return true;
}

}  // namespace varkel
