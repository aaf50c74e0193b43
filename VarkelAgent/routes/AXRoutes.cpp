#include "routes/AXRoutes.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "ax/AXActions.h"
#include "ax/AXFind.h"
#include "ax/AXTree.h"
#include "http/JSONDecoder.h"
#include "http/JSONResponse.h"

namespace varkel {

namespace {

/// A decoded body, or why there is none.
template <class Record>
struct Decoded {
    std::optional<Record> record;
    std::string failure;
};

template <class Record>
Decoded<Record> decode(const HTTPRequest& request) {
    try {
        return {decodeJSON<Record>(request.body), ""};
    } catch (const DecodingError& error) {
        return {std::nullopt, error.what()};
    }
}

HTTPResponse badRequest() {
    return jsonResponse(400, {{"error", "bad_request"}});
}

}  // namespace

Task<HTTPResponse> treeRoute(HTTPRequest request) {
    const auto body = decode<std::map<std::string, std::optional<std::int64_t>>>(request);
    if (!body.record) co_return badRequest();
    const auto found = body.record->find("root_pid");
    const auto rootPid = found == body.record->end() ? std::nullopt : found->second;
    co_return co_await axTree(rootPid, std::nullopt);
}

Task<HTTPResponse> findRoute(HTTPRequest request) {
    auto body = decode<AXQuery>(request);
    if (!body.record) co_return jsonResponse(400, {{"error", "bad_request"}, {"message", body.failure}});
    auto batchId = body.record->batch_id;
    co_return co_await axFind(std::move(*body.record), std::move(batchId));
}

Task<HTTPResponse> clickRoute(HTTPRequest request) {
    auto body = decode<AXClickRequest>(request);
    if (!body.record) co_return badRequest();
    auto batchId = body.record->batch_id;
    co_return co_await axClick(std::move(*body.record), std::move(batchId));
}

Task<HTTPResponse> typeRoute(HTTPRequest request) {
    auto body = decode<AXTypeRequest>(request);
    if (!body.record) co_return badRequest();
    auto batchId = body.record->batch_id;
    co_return co_await axType(std::move(*body.record), std::move(batchId));
}

Task<HTTPResponse> scrollRoute(HTTPRequest request) {
    auto body = decode<AXScrollRequest>(request);
    if (!body.record) co_return badRequest();
    auto batchId = body.record->batch_id;
    co_return co_await axScroll(std::move(*body.record), std::move(batchId));
}

}  // namespace varkel
