#include "ocr/ImageInput.h"

#include <cstddef>

#include "base/ReadFile.h"
#include "http/HTTPMessage.h"
#include "ocr/Base64.h"

namespace varkel {

namespace {

/// Far beyond any image that can be decoded.
constexpr std::size_t largestFile = std::size_t{512} << 20;

}  // namespace

std::string resolveImageData(const std::optional<std::string>& imageBase64,
                             const std::optional<std::string>& imagePath) {
    if (imageBase64) {
        if (auto bytes = decodeBase64(*imageBase64)) return *std::move(bytes);
    }
    if (imagePath) {
        if (auto bytes = readRegularFile(*imagePath, largestFile)) return *std::move(bytes);
    }
    throw HTTPError(HTTPError::Case::badRequest);
}

}  // namespace varkel
