#pragma once

#include <boost/json/object.hpp>
#include <string_view>

namespace varkel {

/// The codes of the accessibility endpoints' errors.
enum class AXErrorCode { permissionMissing, elementNotFound, actionFailed, invalidInput };

/// A code as answers spell it, such as "ax_permission_missing".
constexpr std::string_view wireName(AXErrorCode code) {
    switch (code) {
        case AXErrorCode::permissionMissing:
            return "ax_permission_missing";
        case AXErrorCode::elementNotFound:
            return "element_not_found";
        case AXErrorCode::actionFailed:
            return "action_failed";
        case AXErrorCode::invalidInput:
            return "invalid_input";
    }
    return "";
}

/// The error of a request about the frontmost application when there is none.
inline constexpr std::string_view couldNotGetFrontmostApp = "could_not_get_frontmost_app";

/// Where a person grants the accessibility permission; the hint of every answer that misses it.
inline constexpr std::string_view accessibilityHint =
    "System Settings -> Privacy & Security -> Accessibility";

/// {"error": code} and, when the hint is not empty, "hint". Any thread.
boost::json::object axErrorResponse(AXErrorCode code, std::string_view hint);

}  // namespace varkel
