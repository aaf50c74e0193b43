#include "routes/AXRoutes.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "ax/AXActions.h"
#include "ax/AXFind.h"
#include "ax/AXTree.h"
#include "http/JSONBody.h"
#include "http/JSONResponse.h"
#include "routes/Consent.h"

namespace varkel {

namespace {

/// A decoded body, or why there is none.
template <class Record>
struct Decoded {
    std::optional<Record> record;
    std::string failure;
};

template <class Record>
Task<Decoded<Record>> decode(const HTTPRequest& request) {
    try {
        Record record = co_await decodeBody<Record>(request);
        co_return Decoded<Record>{std::move(record), ""};
    } catch (const DecodingError& error) {
        co_return Decoded<Record>{std::nullopt, error.what()};
    }
}

HTTPResponse badRequest() {
    return jsonResponse(400, {{"error", "bad_request"}});
}

/// Acts on an element once the body is understood and the person agrees.
template <class Record, class... More>
Task<HTTPResponse> act(HTTPRequest request, std::optional<OverlayClient> overlay, const char* action,
                       Task<HTTPResponse> (*operation)(Record, std::optional<std::string>, More...),
                       More... more) {
    auto body = co_await decode<Record>(request);
    if (!body.record) co_return badRequest();
    auto refusal = co_await checkDestructiveConsent(request, overlay, action, body.record->elementId);
    if (refusal) co_return std::move(*refusal);
    auto batchId = body.record->batch_id;
    co_return co_await operation(std::move(*body.record), std::move(batchId), more...);
}

}  // namespace

Task<HTTPResponse> treeRoute(HTTPRequest request) {
    const auto body = co_await decode<std::map<std::string, std::optional<std::int64_t>>>(request);
    if (!body.record) co_return badRequest();
    const auto found = body.record->find("root_pid");
    const auto rootPid = found == body.record->end() ? std::nullopt : found->second;
    co_return co_await axTree(rootPid, std::nullopt);
}

Task<HTTPResponse> findRoute(HTTPRequest request) {
    auto body = co_await decode<AXQuery>(request);
    if (!body.record) co_return jsonResponse(400, {{"error", "bad_request"}, {"message", body.failure}});
    auto batchId = body.record->batch_id;
    co_return co_await axFind(std::move(*body.record), std::move(batchId));
}

Task<HTTPResponse> clickRoute(HTTPRequest request, std::optional<OverlayClient> overlay) {
    return act<AXClickRequest>(std::move(request), std::move(overlay), "click", axClick);
}

Task<HTTPResponse> typeRoute(HTTPRequest request, std::optional<OverlayClient> overlay) {
    return act<AXTypeRequest>(std::move(request), std::move(overlay), "type", axType);
}

Task<HTTPResponse> scrollRoute(HTTPRequest request, std::optional<OverlayClient> overlay) {
    RequestClient* const client = request.client;
    return act<AXScrollRequest>(std::move(request), std::move(overlay), "scroll", axScroll, client);
}

}  // namespace varkel
