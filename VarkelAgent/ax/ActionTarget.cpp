#include "ax/ActionTarget.h"

#include <utility>

#include "ax/AXError.h"
#include "ax/BatchManager.h"
#include "ax/ElementSearch.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

ActionTarget refuse(HTTPResponse answer) {
    return {nullptr, std::move(answer)};
}

/// The pid of the application to act in; nothing when no application is in front, whatever the batch.
std::optional<pid_t> resolveTargetPid(const std::optional<std::string>& batchId) {
    const auto frontmost = frontmostApplicationPid();
    if (!frontmost || !batchId) return frontmost;
    const auto pinned = BatchManager::shared().lookup(*batchId);
    return pinned ? pinned : frontmost;
}

}  // namespace

ActionTarget locateActionTarget(const std::string& elementId, const std::optional<std::string>& batchId) {
    Accessibility& accessibility = *Platform::current().accessibility;
    if (!accessibility.AXIsProcessTrusted()) {
        return refuse(jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint)));
    }
    const auto pid = resolveTargetPid(batchId);
    if (!pid) return refuse(jsonResponse(500, {{"error", couldNotGetFrontmostApp}}));
    AXUIElementRef element =
        findElementInApplication(accessibility.AXUIElementCreateApplication(*pid), elementId);
    if (!element) return refuse(jsonResponse(404, axErrorResponse(AXErrorCode::elementNotFound, "")));
    return {std::move(element), std::nullopt};
}

}  // namespace varkel
