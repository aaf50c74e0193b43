#include "routes/BatchRoutes.h"

#include <map>
#include <optional>
#include <string>

#include "ax/AXError.h"
#include "ax/BatchManager.h"
#include "base/BlockingPool.h"
#include "http/JSONBody.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

/// The batch id of a body that is a map of texts and nulls; "default" without one, also when the body is no
/// such map.
Task<std::string> batchIdOf(const HTTPRequest& request) {
    using TextMap = std::map<std::string, std::optional<std::string>>;
    try {
        const auto texts = co_await decodeBody<TextMap>(request);
        const auto found = texts.find("batch_id");
        if (found != texts.end() && found->second) co_return *found->second;
    } catch (const DecodingError&) {
        co_return "default";
    }
    co_return "default";
}

HTTPResponse confirmed(const std::string& batchId) {
    return jsonResponse(200, {{"ok", true}, {"batch_id", batchId}});
}

HTTPResponse beginBlocking(const std::string& batchId) {
    if (!Platform::current().accessibility->AXIsProcessTrusted()) {
        return jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint));
    }
    const auto pid = frontmostApplicationPid();
    if (!pid) return jsonResponse(500, {{"error", "could_not_get_frontmost_app"}});
    BatchManager::shared().begin(batchId, *pid);
    return confirmed(batchId);
}

}  // namespace

Task<HTTPResponse> batchBegin(HTTPRequest request) {
    const std::string batchId = co_await batchIdOf(request);
    const auto work = [&] { return beginBlocking(batchId); };
    co_return co_await runBlocking(work);
}

Task<HTTPResponse> batchEnd(HTTPRequest request) {
    const std::string batchId = co_await batchIdOf(request);
    BatchManager::shared().end(batchId);
    co_return confirmed(batchId);
}

}  // namespace varkel
