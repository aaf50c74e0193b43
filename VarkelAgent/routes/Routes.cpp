#include "routes/Routes.h"

#include <utility>

#include "http/HTTPServer.h"
#include "keys/Keystrokes.h"
#include "ocr/OCR.h"
#include "routes/AXRoutes.h"
#include "routes/BatchRoutes.h"
#include "routes/TreeAndOCR.h"
#include "visual/VisualFind.h"

namespace varkel {

namespace {

Task<HTTPResponse> health(HTTPRequest) {
    co_return healthResponse();
}

Task<HTTPResponse> keystrokes(HTTPRequest request) {
    return sendKeystrokes(std::move(request));
}

Task<HTTPResponse> ocr(HTTPRequest request) {
    return performOCR(std::move(request));
}

Task<HTTPResponse> visualFind(HTTPRequest request) {
    return performVisualFind(std::move(request));
}

}  // namespace

void registerRoutes(HTTPServer& server) {
    server.registerRoute("GET", "/health", health);
    server.registerRoute("POST", "/ax/tree", treeRoute);
    server.registerRoute("POST", "/ax/find", findRoute);
    server.registerRoute("POST", "/ax/click", clickRoute);
    server.registerRoute("POST", "/ax/type", typeRoute);
    server.registerRoute("POST", "/ax/scroll", scrollRoute);
    server.registerRoute("POST", "/keystrokes", keystrokes);
    server.registerRoute("POST", "/ax/tree_and_ocr", treeAndOCR);
    server.registerRoute("POST", "/batch/begin", batchBegin);
    server.registerRoute("POST", "/batch/end", batchEnd);
    server.registerRoute("POST", "/ocr", ocr);
    server.registerRoute("POST", "/visual/find", visualFind);
}

}  // namespace varkel
