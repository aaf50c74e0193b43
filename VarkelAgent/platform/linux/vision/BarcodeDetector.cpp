#include "platform/linux/vision/BarcodeDetector.h"

#define ZX_USE_UTF8
#include <ZXing/ReadBarcode.h>

#include <algorithm>
#include <utility>

namespace varkel {

namespace {

std::vector<std::uint8_t> luminance(const PixelPlanes& image) {
    std::vector<std::uint8_t> grey(image.red.size());
    for (std::size_t i = 0; i < grey.size(); ++i) {
        grey[i] = static_cast<std::uint8_t>(
            (306 * image.red[i] + 601 * image.green[i] + 117 * image.blue[i]) >> 10);
    }
    return grey;
}

PixelBox boxOf(const ZXing::Position& corners) {
    PixelBox box{corners[0].x, corners[0].y, corners[0].x, corners[0].y};
    for (const auto& corner : corners) {
        box.x0 = std::min(box.x0, corner.x);
        box.y0 = std::min(box.y0, corner.y);
        box.x1 = std::max(box.x1, corner.x);
        box.y1 = std::max(box.y1, corner.y);
    }
    // Corners are pixels of the code; a linear code's four may lie on one row.
    ++box.x1;
    ++box.y1;
    return box;
}

void appendBarcodes(std::vector<DetectedBarcode>& found, const std::vector<std::uint8_t>& grey, int width,
                    int height) {
    const ZXing::ImageView view(grey.data(), width, height, ZXing::ImageFormat::Lum);
    ZXing::DecodeHints hints;
    hints.setTryHarder(true);
    hints.setTryRotate(true);
    for (const ZXing::Result& result : ZXing::ReadBarcodes(view, hints)) {
        if (!result.isValid()) continue;
        DetectedBarcode code;
        code.box = boxOf(result.position());
        // Its checksum has been verified; the library grades no further.
        code.confidence = 1;
        if (std::string text = result.text(); !text.empty()) code.payload = std::move(text);
        const auto same = [&](const DetectedBarcode& known) {
            return known.payload == code.payload && known.box.x0 < code.box.x1 &&
                   code.box.x0 < known.box.x1 && known.box.y0 < code.box.y1 && code.box.y0 < known.box.y1;
        };
        if (std::none_of(found.begin(), found.end(), same)) found.push_back(std::move(code));
    }
}

}  // namespace

std::vector<DetectedBarcode> detectBarcodes(const PixelPlanes& image) {
    std::vector<std::uint8_t> grey = luminance(image);
    std::vector<DetectedBarcode> found;
    appendBarcodes(found, grey, image.width, image.height);
    // Light codes on dark ground, as dark themes show them.
    for (std::uint8_t& level : grey) level = static_cast<std::uint8_t>(255 - level);
    appendBarcodes(found, grey, image.width, image.height);
    return found;
}

}  // namespace varkel
