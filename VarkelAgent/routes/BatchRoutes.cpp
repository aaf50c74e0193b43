#include "routes/BatchRoutes.h"

#include <map>
#include <optional>
#include <string>

#include "ax/AX+Shared.h"
#include "ax/BatchManager.h"
#include "http/BlockingPool.h"
#include "http/JSONDecoder.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

/// The batch id of a body that is a map of texts and nulls; "default" without one, also when the body is no
/// such map.
std::string batchIdOf(const std::string& body) {
    using TextMap = std::map<std::string, std::optional<std::string>>;
    try {
        const auto texts = decodeJSON<TextMap>(body);
        const auto found = texts.find("batch_id");
        if (found != texts.end() && found->second) return *found->second;
    } catch (const DecodingError&) {
        return "default";
    }
    return "default";
}

HTTPResponse confirmed(const std::string& batchId) {
    return jsonResponse(200, {{"ok", true}, {"batch_id", batchId}});
}

HTTPResponse beginBlocking(const HTTPRequest& request) {
    if (!Platform::current().accessibility->AXIsProcessTrusted()) {
        return jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint));
    }
    const auto pid = frontmostApplicationPid();
    if (!pid) return jsonResponse(500, {{"error", "could_not_get_frontmost_app"}});
    const std::string batchId = batchIdOf(request.body);
    BatchManager::shared().begin(batchId, *pid);
    return confirmed(batchId);
}

}  // namespace

Task<HTTPResponse> batchBegin(HTTPRequest request) {
    const auto work = [&] { return beginBlocking(request); };
    co_return co_await runBlocking(work);
}

Task<HTTPResponse> batchEnd(HTTPRequest request) {
    const std::string batchId = batchIdOf(request.body);
    BatchManager::shared().end(batchId);
    co_return confirmed(batchId);
}

}  // namespace varkel
