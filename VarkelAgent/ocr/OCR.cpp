#include "ocr/OCR.h"

#include <array>
#include <utility>

#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "ocr/ImageInput.h"
#include "ocr/OCRCache.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

/// A key holds 32 bits; a longer pid would be taken for another process.
std::int32_t toKeyPid(std::optional<std::int64_t> pid) {
    if (!std::in_range<std::int32_t>(pid.value_or(0))) throw HTTPError(HTTPError::Case::badRequest);
    return static_cast<std::int32_t>(pid.value_or(0));
}

std::int64_t currentTimeBucket() {
    return static_cast<std::int64_t>(Platform::current().clock->timeIntervalSince1970() * 10.0);
}

std::vector<OCRResult> recognise(std::string bytes, const std::stop_token& cancelled) {
    Vision& vision = *Platform::current().vision;
    const CGImageSourceRef source = vision.CGImageSourceCreateWithData(std::move(bytes));
    if (!source) throw HTTPError(HTTPError::Case::badRequest);
    const CGImageRef image = vision.CGImageSourceCreateImageAtIndex(source, 0);
    if (!image) throw HTTPError(HTTPError::Case::badRequest);

    VNRecognizeTextRequest text;
    const std::array<VNRequest, 1> requests{&text};
    if (!vision.performRequests(image, requests, cancelled)) throw HTTPError(HTTPError::Case::invalidRequest);

    const auto width = static_cast<double>(vision.CGImageGetWidth(image));
    const auto height = static_cast<double>(vision.CGImageGetHeight(image));
    std::vector<OCRResult> results;
    if (!text.results) return results;
    for (const VNRecognizedTextObservation& observation : *text.results) {
        const auto best = observation.topCandidates(1);
        if (best.empty()) continue;
        results.push_back(
            {best[0].string, best[0].confidence, pixelFrame(observation.boundingBox, width, height)});
    }
    return results;
}

HTTPResponse answerBlocking(const OCROptions& options) {
    OCROutcome outcome = performOCRBlocking(options, {});
    HTTPResponse response = jsonResponse(200, OCRResponse{std::move(outcome.results)});
    response.setHeader("X-Varkel-Cache", outcome.cacheHit ? "HIT" : "MISS");
    return response;
}

}  // namespace

OCROutcome performOCRBlocking(const OCROptions& options, const std::stop_token& cancelled) {
    const std::int32_t pid = toKeyPid(options.pid);
    std::string bytes = resolveImageData(options.imageBase64, options.imagePath);
    const std::uint64_t windowId = options.windowId.value_or(0);
    const std::string frameHash = sha256HashData(bytes);
    const std::int64_t timeBucket = currentTimeBucket();

    OCRCache& cache = OCRCache::shared();
    cache.evictOnFrontmostChange();
    if (auto known = cache.get(pid, windowId, frameHash, timeBucket)) return {*std::move(known), true};
    std::vector<OCRResult> results = recognise(std::move(bytes), cancelled);
    cache.set(pid, windowId, frameHash, timeBucket, results);
    return {std::move(results), false};
}

Task<OCROutcome> performOCR(OCROptions options, std::stop_token cancelled) {
    const auto work = [&] { return performOCRBlocking(options, cancelled); };
    co_return co_await runBlocking(work);
}

Task<HTTPResponse> performOCR(OCROptions options) {
    const auto work = [&] { return answerBlocking(options); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
