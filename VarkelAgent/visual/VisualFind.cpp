#include "visual/VisualFind.h"

#include <array>
#include <exception>
#include <utility>

#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "json/JSONDecoder.h"
#include "ocr/ImageInput.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

HTTPResponse findFailure(const std::exception& error) {
    const auto* known = dynamic_cast<const HTTPError*>(&error);
    if (known != nullptr && known->errorCase() == HTTPError::Case::badRequest) {
        return jsonResponse(400, {{"error", "bad_request"}, {"message", "No valid image provided"}});
    }
    return jsonResponse(500, {{"error", "visual_find_failed"}, {"message", error.what()}});
}

HTTPResponse answerBlocking(const HTTPRequest& request) {
    VisualFindOptions options;
    try {
        options = decodeJSON<VisualFindOptions>(request.body);
    } catch (const DecodingError&) {
        return jsonResponse(400, {{"error", "bad_request"}, {"message", "Invalid JSON body"}});
    }
    try {
        return jsonResponse(200, VFResponse{performVisualFindBlocking(options)});
    } catch (const std::exception& error) {
        return findFailure(error);
    }
}

}  // namespace

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

Task<std::vector<VisualFindResult>> performVisualFind(VisualFindOptions options) {
    const auto work = [&] { return performVisualFindBlocking(options); };
    co_return co_await runBlocking(work);
}

Task<HTTPResponse> performVisualFind(HTTPRequest request) {
    const auto work = [&] { return answerBlocking(request); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
