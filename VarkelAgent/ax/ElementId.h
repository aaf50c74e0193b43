#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Accessibility.h"

namespace varkel {

/// 16 lower-case hexadecimal digits: the first 8 bytes of the text's SHA-256 digest.
std::string sha256Hash(std::string_view text);

/// What an element's id is computed from.
struct ElementIdentity {
    pid_t pid = 0;
    std::string role;
    std::optional<std::string> identifier;
    std::optional<std::string> title;
};

/// Reads an element's part of its id; a pid that cannot be read is 0, a missing role "Unknown".
ElementIdentity readIdentity(const AXUIElementRef& element);

/// The element id of an element at an ordinal path such as "0/3/1".
std::string elementId(const ElementIdentity& identity, std::string_view ordinalPath);

/// The ordinal path of the child at zero-based `position` of the element at `parentPath`.
std::string childPath(std::string_view parentPath, std::size_t position);

}  // namespace varkel
