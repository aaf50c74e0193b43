#pragma once

#include <boost/json/object.hpp>
#include <string_view>

namespace varkel {

/// The codes of the accessibility endpoints' errors.
enum class AXErrorCode { permissionMissing, elementNotFound, actionFailed, invalidInput };

/// A code as answers spell it, such as "ax_permission_missing".
const char* wireName(AXErrorCode code);

/// Where a person grants the accessibility permission; the hint of every answer that misses it.
inline constexpr std::string_view accessibilityHint =
    "System Settings -> Privacy & Security -> Accessibility";

/// {"error": code} and, when the hint is not empty, "hint". Any thread.
boost::json::object axErrorResponse(AXErrorCode code, std::string_view hint);

}  // namespace varkel
