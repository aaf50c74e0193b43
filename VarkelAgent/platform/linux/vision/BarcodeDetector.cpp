#include "platform/linux/vision/BarcodeDetector.h"

#define ZX_USE_UTF8
#include <ZXing/ReadBarcode.h>

#include <algorithm>
#include <utility>

#include "platform/linux/vision/EdgeMask.h"

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

/// An image in shades of grey, or a part of one.
struct GreyView {
    const std::uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;
    /// Where the part lies in the image.
    int x = 0;
    int y = 0;
};

bool overlap(const PixelBox& a, const PixelBox& b) {
    return a.x0 < b.x1 && b.x0 < a.x1 && a.y0 < b.y1 && b.y0 < a.y1;
}

void appendBarcodes(std::vector<DetectedBarcode>& found, const GreyView& grey,
                    const ZXing::DecodeHints& hints) {
    const ZXing::ImageView view(grey.pixels, grey.width, grey.height, ZXing::ImageFormat::Lum, grey.stride);
    for (const ZXing::Result& result : ZXing::ReadBarcodes(view, hints)) {
        if (!result.isValid()) continue;
        DetectedBarcode code;
        code.box = boxOf(result.position());
        code.box = {code.box.x0 + grey.x, code.box.y0 + grey.y, code.box.x1 + grey.x, code.box.y1 + grey.y};
        // Its checksum has been verified; the library grades no further.
        code.confidence = 1;
        if (std::string text = result.text(); !text.empty()) code.payload = std::move(text);
        const bool known = std::any_of(found.begin(), found.end(), [&](const DetectedBarcode& other) {
            return other.payload == code.payload && overlap(other.box, code.box);
        });
        if (!known) found.push_back(std::move(code));
    }
}

/// Squarish fields that are dense with edges, as matrix codes are, with some margin.
std::vector<PixelBox> busySquares(const PixelPlanes& image) {
    constexpr int cell = 16;
    constexpr int busyEdges = cell * cell / 16;
    constexpr int leastCells = 2;
    constexpr std::size_t most = 32;
    const EdgeMasks edges = findEdges(image);
    Mask cells(edges.shapes.width / cell + 1, edges.shapes.height / cell + 1);
    for (int y = 0; y < edges.shapes.height; ++y) {
        std::uint8_t* row = cells.row(y / cell);
        for (int x = 0; x < edges.shapes.width; ++x) {
            const bool edge = edges.shapes.row(y)[x] != 0 || edges.lines.row(y)[x] != 0;
            std::uint8_t& count = row[x / cell];
            if (edge && count < 255) ++count;
        }
    }
    for (std::uint8_t& count : cells.bits) count = count >= busyEdges ? 1 : 0;

    std::vector<PixelBox> squares;
    for (const Component& field : findComponents(cells).components) {
        const int width = field.box.width();
        const int height = field.box.height();
        const bool dense = 10 * field.area >= 6 * width * height;
        if (std::min(width, height) < leastCells || std::max(width, height) > 2 * std::min(width, height) ||
            !dense)
            continue;
        const int margin = cell;
        squares.push_back({std::max(0, field.box.x0 * cell - margin),
                           std::max(0, field.box.y0 * cell - margin),
                           std::min(image.width, field.box.x1 * cell + margin),
                           std::min(image.height, field.box.y1 * cell + margin)});
        if (squares.size() == most) break;
    }
    return squares;
}

/// Looks at the whole image, then at each field that may be a matrix code: the library's search for some
/// kinds starts in the middle of what it is given and misses those elsewhere.
void appendFromImage(std::vector<DetectedBarcode>& found, const std::vector<std::uint8_t>& grey,
                     const PixelPlanes& image, const std::vector<PixelBox>& squares) {
    ZXing::DecodeHints hints;
    hints.setTryHarder(true);
    hints.setTryRotate(true);
    appendBarcodes(found, {grey.data(), image.width, image.height, image.width, 0, 0}, hints);
    hints.setFormats(ZXing::BarcodeFormat::MatrixCodes);
    for (const PixelBox& square : squares) {
        const std::uint8_t* start = grey.data() + image.offset(square.x0, square.y0);
        appendBarcodes(found, {start, square.width(), square.height(), image.width, square.x0, square.y0},
                       hints);
    }
}

}  // namespace

std::vector<DetectedBarcode> detectBarcodes(const PixelPlanes& image) {
    const std::vector<PixelBox> squares = busySquares(image);
    std::vector<std::uint8_t> grey = luminance(image);
    std::vector<DetectedBarcode> found;
    appendFromImage(found, grey, image, squares);
    // Light codes on dark ground, as dark themes show them.
    for (std::uint8_t& level : grey) level = static_cast<std::uint8_t>(255 - level);
    appendFromImage(found, grey, image, squares);
    return found;
}

}  // namespace varkel
