#include "routes/Routes.h"

#include <optional>
#include <string>
#include <utility>

#include "http/HTTPServer.h"
#include "http/JSONBody.h"
#include "http/JSONResponse.h"
#include "keys/Keystrokes.h"
#include "ocr/OCR.h"
#include "routes/AXRoutes.h"
#include "routes/BatchRoutes.h"
#include "routes/Consent.h"
#include "routes/TreeAndOCR.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"
#include "visual/VisualFind.h"

namespace varkel {

namespace {

Task<HTTPResponse> health(HTTPRequest) {
    co_return healthResponse();
}

Task<HTTPResponse> keystrokes(HTTPRequest request, std::optional<OverlayClient> overlay) {
    auto refusal = co_await checkDestructiveConsent(request, overlay, "send_keystrokes", std::nullopt);
    if (refusal) co_return std::move(*refusal);
    co_return co_await sendKeystrokes(std::move(request));
}

Task<HTTPResponse> ocr(HTTPRequest request) {
    return performOCR(std::move(request));
}

/// The body is only looked at for whom to ask about; the operation decodes it for itself.
Task<HTTPResponse> shortcut(HTTPRequest request, std::optional<OverlayClient> overlay) {
    ShortcutRequest decoded;
    try {
        decoded = co_await decodeBody<ShortcutRequest>(request);
    } catch (const DecodingError&) {
        co_return jsonResponse(400, {{"error", "bad_request"}, {"message", "Invalid JSON body"}});
    }
    auto refusal =
        co_await checkDestructiveConsent(request, overlay, "run_shortcut", std::move(decoded.name));
    if (refusal) co_return std::move(*refusal);
    co_return co_await runShortcut(std::move(request));
}

Task<HTTPResponse> appleScript(HTTPRequest request, std::optional<OverlayClient> overlay) {
    auto refusal = co_await checkDestructiveConsent(request, overlay, "run_applescript", "System");
    if (refusal) co_return std::move(*refusal);
    co_return co_await runAppleScript(std::move(request));
}

Task<HTTPResponse> visualFind(HTTPRequest request) {
    return performVisualFind(std::move(request));
}

}  // namespace

void registerRoutes(HTTPServer& server, const std::optional<OverlayClient>& overlay) {
    const auto consenting = [&](auto route) -> RouteHandler {
        return [route, overlay](HTTPRequest request) { return route(std::move(request), overlay); };
    };
    server.registerRoute("GET", "/health", health);
    server.registerRoute("POST", "/ax/tree", treeRoute);
    server.registerRoute("POST", "/ax/find", findRoute);
    server.registerRoute("POST", "/ax/click", consenting(clickRoute));
    server.registerRoute("POST", "/ax/type", consenting(typeRoute));
    server.registerRoute("POST", "/ax/scroll", consenting(scrollRoute));
    server.registerRoute("POST", "/keystrokes", consenting(keystrokes));
    server.registerRoute("POST", "/ax/tree_and_ocr", treeAndOCR);
    server.registerRoute("POST", "/batch/begin", batchBegin);
    server.registerRoute("POST", "/batch/end", batchEnd);
    server.registerRoute("POST", "/ocr", ocr);
    server.registerRoute("GET", "/shortcut/list", listShortcuts);
    server.registerRoute("POST", "/shortcut", consenting(shortcut));
    server.registerRoute("POST", "/applescript/run", consenting(appleScript));
    server.registerRoute("POST", "/visual/find", visualFind);
}

}  // namespace varkel
