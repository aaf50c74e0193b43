#include "routes/Routes.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "ax/AXTree.h"
#include "http/HTTPServer.h"
#include "http/JSONDecoder.h"
#include "http/JSONResponse.h"
#include "ocr/OCR.h"
#include "routes/BatchRoutes.h"
#include "routes/TreeAndOCR.h"
#include "visual/VisualFind.h"

namespace varkel {

namespace {

Task<HTTPResponse> health(HTTPRequest) {
    co_return jsonResponse(200, {{"ok", true}, {"version", "0.2.0"}});
}

Task<HTTPResponse> tree(HTTPRequest request) {
    std::map<std::string, std::optional<std::int64_t>> integers;
    try {
        integers = decodeJSON<decltype(integers)>(request.body);
    } catch (const DecodingError&) {
        co_return jsonResponse(400, {{"error", "bad_request"}});
    }
    const auto found = integers.find("root_pid");
    const auto rootPid = found == integers.end() ? std::nullopt : found->second;
    co_return co_await axTree(rootPid, std::nullopt);
}

}  // namespace

void registerRoutes(HTTPServer& server) {
    server.registerRoute("GET", "/health", health);
    server.registerRoute("POST", "/ax/tree", tree);
    server.registerRoute("POST", "/ax/tree_and_ocr", treeAndOCR);
    server.registerRoute("POST", "/batch/begin", batchBegin);
    server.registerRoute("POST", "/batch/end", batchEnd);
    server.registerRoute("POST", "/ocr", [](HTTPRequest request) { return performOCR(std::move(request)); });
    server.registerRoute("POST", "/visual/find",
                         [](HTTPRequest request) { return performVisualFind(std::move(request)); });
}

}  // namespace varkel
