#pragma once

#include <sys/types.h>

#include <boost/json/object.hpp>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ax/AXElementInfo.h"
#include "platform/Accessibility.h"

namespace varkel {

/// The codes of the accessibility endpoints' errors.
enum class AXErrorCode { permissionMissing, elementNotFound, actionFailed, invalidInput };

/// A code as answers spell it, such as "ax_permission_missing".
const char* wireName(AXErrorCode code);

/// An AXErrorCode raised as an error.
class AXErrorException : public std::runtime_error {
  public:
    explicit AXErrorException(AXErrorCode code) : std::runtime_error(wireName(code)), code_(code) {}
    AXErrorCode code() const { return code_; }

  private:
    AXErrorCode code_;
};

/// Where a person grants the accessibility permission; the hint of every answer that misses it.
inline constexpr std::string_view accessibilityHint =
    "System Settings -> Privacy & Security -> Accessibility";

/// {"error": code} and, when the hint is not empty, "hint". Any thread.
boost::json::object axErrorResponse(AXErrorCode code, std::string_view hint);

/// The process of the application that receives key events, or nothing. Any thread; may wait for the main
/// thread, so the main thread must never wait for a caller. Never cached.
std::optional<pid_t> frontmostApplicationPid();

/// The most children that are ever read of one element.
inline constexpr std::size_t maxChildrenPerElement = 1000;

/// One attribute when it can be read and is of type T (std::string, bool, CGPoint, CGSize), otherwise
/// nothing.
template <class T>
std::optional<T> getAttribute(const AXUIElementRef& element, AXAttribute attribute);

/// The first maxChildrenPerElement children in the application's order, or nothing when they cannot be read.
std::optional<std::vector<AXUIElementRef>> getChildren(const AXUIElementRef& element);

/// The element's rectangle on the screen; nothing without both a position and a size.
std::optional<AXFrame> getFrame(const AXUIElementRef& element);

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
