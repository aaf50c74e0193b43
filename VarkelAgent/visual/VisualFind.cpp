#include "visual/VisualFind.h"

#include <array>
#include <utility>

#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "ocr/ImageInput.h"
#include "platform/Platform.h"

namespace varkel {

std::vector<VisualFindResult> performVisualFindBlocking(const VisualFindOptions& options) {
    Vision& vision = *Platform::current().vision;
    const CGImageSourceRef source =
        vision.CGImageSourceCreateWithData(resolveImageData(options.imageBase64, options.imagePath));
    if (!source) throw HTTPError(HTTPError::Case::badRequest);
    const CGImageRef image = vision.CGImageSourceCreateImageAtIndex(source, 0);
    if (!image) throw HTTPError(HTTPError::Case::badRequest);

    VNRecognizeTextRequest text;
    VNDetectBarcodesRequest barcodes;
    const std::array<VNRequest, 2> requests{&text, &barcodes};
    if (!vision.performRequests(image, requests, {})) throw HTTPError(HTTPError::Case::invalidRequest);

    const ImageExtent extent{static_cast<double>(vision.CGImageGetWidth(image)),
                             static_cast<double>(vision.CGImageGetHeight(image))};
    std::vector<VisualFindResult> results;
    if (text.results) appendTextMatches(results, *std::move(text.results), options.query, extent);
    if (barcodes.results) appendBarcodeMatches(results, *barcodes.results, options.query, extent);
    sortByScore(results);
    return results;
}

Task<HTTPResponse> performVisualFind(VisualFindOptions options) {
    const auto work = [&] { return jsonResponse(200, VFResponse{performVisualFindBlocking(options)}); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
