#include "routes/Routes.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "ax/AXActions.h"
#include "ax/AXFind.h"
#include "ax/AXTree.h"
#include "keys/Keystrokes.h"
#include "ocr/OCR.h"
#include "routes/ActionDetails.h"
#include "routes/BatchRoutes.h"
#include "routes/JSONRoute.h"
#include "routes/TreeAndOCR.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"
#include "visual/VisualFind.h"

namespace varkel {

namespace {

/// The body of a tree request: a map of numbers and nulls.
using TreeRequest = std::map<std::string, std::optional<std::int64_t>>;

Task<HTTPResponse> health(HTTPRequest) {
    co_return healthResponse();
}

Task<HTTPResponse> tree(TreeRequest request) {
    const auto found = request.find("root_pid");
    TreeTarget target;
    if (found != request.end() && found->second) target = RootPid{*found->second};
    return axTree(std::move(target));
}

Task<HTTPResponse> keystrokes(SendKeystrokesRequest request) {
    return sendKeystrokes(std::move(request));
}

Task<HTTPResponse> ocr(OCROptions options) {
    return performOCR(std::move(options));
}

}  // namespace

std::vector<Endpoint> endpoints(const std::optional<OverlayClient>& overlay) {
    // What an element's action or a Shortcut acts on is told by its body, so that is read first; keystrokes
    // and scripts are asked about before anything of theirs is looked at.
    const auto onElement = [&]<class Record>(std::string_view action, auto handler, std::string Record::*id) {
        return jsonRoute<Record>(BadBody::nothing, {}, handler,
                                 ConsentQuestion<Record>{overlay, action, id, actionDetails});
    };
    const ConsentQuestion<ShortcutRequest> aboutShortcut{overlay, "run_shortcut", &ShortcutRequest::name,
                                                         actionDetails};
    return {
        {"GET", "/health", health},
        {"POST", "/ax/tree", jsonRoute<TreeRequest>(BadBody::nothing, axTreeFailures, tree)},
        {"POST", "/ax/find", jsonRoute<AXQuery>(BadBody::reason, axTreeFailures, axFind)},
        {"POST", "/ax/click", onElement("click", axClick, &AXClickRequest::elementId)},
        {"POST", "/ax/type", onElement("type", axType, &AXTypeRequest::elementId)},
        {"POST", "/ax/scroll", onElement("scroll", axScroll, &AXScrollRequest::elementId)},
        {"POST", "/keystrokes",
         askingFirst(overlay, "send_keystrokes", std::nullopt,
                     detailsOfBody<SendKeystrokesRequest>(actionDetails),
                     jsonRoute<SendKeystrokesRequest>(BadBody::reason, {}, keystrokes))},
        {"POST", "/ax/tree_and_ocr",
         jsonRoute<TreeAndOCRRequest>(BadBody::reason, treeAndOCRFailures, treeAndOCR)},
        {"POST", "/batch/begin", jsonRoute<BatchRequest>(BadBody::accepted, {}, batchBegin)},
        {"POST", "/batch/end", jsonRoute<BatchRequest>(BadBody::accepted, {}, batchEnd)},
        {"POST", "/ocr", jsonRoute<OCROptions>(BadBody::invalidJSON, ocrFailures, ocr)},
        {"GET", "/shortcut/list", listShortcuts},
        {"POST", "/shortcut",
         jsonRoute<ShortcutRequest>(BadBody::invalidJSON, {}, runShortcut, aboutShortcut)},
        {"POST", "/applescript/run",
         askingFirst(overlay, "run_applescript", "System", detailsOfBody<AppleScriptRequest>(actionDetails),
                     jsonRoute<AppleScriptRequest>(BadBody::invalidJSON, {}, runAppleScript))},
        {"POST", "/visual/find",
         jsonRoute<VisualFindOptions>(BadBody::invalidJSON, visualFindFailures, performVisualFind)},
    };
}

void registerRoutes(HTTPServer& server, const std::optional<OverlayClient>& overlay) {
    for (Endpoint& endpoint : endpoints(overlay)) {
        server.registerRoute(endpoint.method, endpoint.path, std::move(endpoint.handler));
    }
}

}  // namespace varkel
