#pragma once

#include <optional>
#include <string>

namespace varkel {

/// The bytes of the image that a request names: the base64 text when it is there and decodes, otherwise the
/// file. Throws HTTPError::badRequest when neither yields bytes. The bytes need not be an image. Reads files;
/// any thread that may block.
std::string resolveImageData(const std::optional<std::string>& imageBase64,
                             const std::optional<std::string>& imagePath);

}  // namespace varkel
