#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varkel {

/// Decodes base64 strictly: the standard alphabet, in fours, padded at the end with "=" and with nothing
/// else, blanks and line breaks included. The empty text decodes to no bytes. Any thread.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace varkel
