#include "ax/AXError.h"

namespace varkel {

boost::json::object axErrorResponse(AXErrorCode code, std::string_view hint) {
    boost::json::object body{{"error", wireName(code)}};
    if (!hint.empty()) body["hint"] = hint;
    return body;
}

}  // namespace varkel
