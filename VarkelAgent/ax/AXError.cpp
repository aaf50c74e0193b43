#include "ax/AXError.h"

namespace varkel {

const char* wireName(AXErrorCode code) {
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

boost::json::object axErrorResponse(AXErrorCode code, std::string_view hint) {
    boost::json::object body{{"error", wireName(code)}};
    if (!hint.empty()) body["hint"] = hint;
    return body;
}

}  // namespace varkel
