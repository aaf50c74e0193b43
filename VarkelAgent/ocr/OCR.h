#pragma once

#include <array>
#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "base/Task.h"
#include "http/FailureTable.h"
#include "http/HTTPMessage.h"
#include "ocr/OCRResult.h"

namespace varkel {

/// The body of an OCR request. "pid" and "windowId" only tell requests apart in the cache.
struct OCROptions {
    std::optional<std::string> imageBase64;
    std::optional<std::string> imagePath;
    std::optional<std::int64_t> pid;
    std::optional<std::uint64_t> windowId;
};
BOOST_DESCRIBE_STRUCT(OCROptions, (), (imageBase64, imagePath, pid, windowId))

/// The body of a successful OCR request.
struct OCRResponse {
    std::vector<OCRResult> results;
};
BOOST_DESCRIBE_STRUCT(OCRResponse, (), (results))

/// The lines of an image in reading order, and whether they came from the cache.
struct OCROutcome {
    std::vector<OCRResult> results;
    bool cacheHit = false;
};

/// Reads the text of an image, or remembers it. Throws HTTPError: badRequest when there is no usable image or
/// the pid is none, invalidRequest when the recognition fails or was cancelled. Any thread that may block.
OCROutcome performOCRBlocking(const OCROptions& options, const std::stop_token& cancelled);

/// performOCRBlocking() for a caller that may not block. Started on an I/O thread.
Task<OCROutcome> performOCR(OCROptions options, std::stop_token cancelled);

/// Answers an OCR request; where the lines came from is told in "X-Varkel-Cache". Throws as
/// performOCRBlocking() does.
Task<HTTPResponse> performOCR(OCROptions options);

/// How what performOCR() throws is answered.
inline constexpr std::array<FailureRule, 2> ocrFailures{{
    {Failure::badRequest, 400, badRequestCode, FailureRule::Detail::message,
     "No valid image provided or could not decode image"},
    {Failure::other, 500, "ocr_failed", FailureRule::Detail::what},
}};

}  // namespace varkel
