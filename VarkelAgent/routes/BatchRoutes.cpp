#include "routes/BatchRoutes.h"

#include <string>

#include "ax/AXError.h"
#include "ax/BatchManager.h"
#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

/// "default" without one.
std::string batchIdOf(const BatchRequest& request) {
    const auto found = request.find("batch_id");
    return found != request.end() && found->second ? *found->second : "default";
}

HTTPResponse confirmed(const std::string& batchId) {
    return jsonResponse(200, {{"ok", true}, {"batch_id", batchId}});
}

HTTPResponse beginBlocking(const std::string& batchId) {
    if (!Platform::current().accessibility->AXIsProcessTrusted()) {
        return jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint));
    }
    const auto pid = frontmostApplicationPid();
    if (!pid) return jsonResponse(500, {{"error", couldNotGetFrontmostApp}});
    BatchManager::shared().begin(batchId, *pid);
    return confirmed(batchId);
}

}  // namespace

Task<HTTPResponse> batchBegin(BatchRequest request) {
    const std::string batchId = batchIdOf(request);
    const auto work = [&] { return beginBlocking(batchId); };
    co_return co_await runBlocking(work);
}

Task<HTTPResponse> batchEnd(BatchRequest request) {
    const std::string batchId = batchIdOf(request);
    BatchManager::shared().end(batchId);
    co_return confirmed(batchId);
}

}  // namespace varkel
