#include "routes/TreeAndOCR.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/promise.hpp>
#include <boost/asio/experimental/use_promise.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstdint>
#include <exception>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "ax/AX+Shared.h"
#include "ax/AXTree.h"
#include "http/BlockingPool.h"
#include "http/JSONDecoder.h"
#include "http/JSONResponse.h"
#include "ocr/OCR.h"

namespace varkel {

namespace {

struct TreeAndOCRRequest {
    std::optional<std::int64_t> root_pid;
    std::optional<std::string> imageBase64;
    std::optional<std::string> imagePath;
    std::optional<std::int64_t> pid;
    std::optional<std::uint64_t> windowId;
};
BOOST_DESCRIBE_STRUCT(TreeAndOCRRequest, (), (root_pid, imageBase64, imagePath, pid, windowId))

struct Both {
    AXTreeData tree;
    OCROutcome ocr;
};

/// Runs both tasks side by side. A tree that fails cancels the recognition, and its error is the one raised,
/// once the recognition has ended.
Task<Both> readBoth(std::optional<std::int64_t> rootPid, OCROptions options) {
    std::stop_source cancel;
    // Apart from the call below: temporaries with destructors must not live across a suspension in g++ 12.
    const auto executor = co_await boost::asio::this_coro::executor;
    auto ocr = boost::asio::co_spawn(executor, performOCR(std::move(options), cancel.get_token()),
                                     boost::asio::experimental::use_promise);
    std::exception_ptr treeFailure;
    Both both;
    try {
        both.tree = co_await axTreeData(rootPid, std::nullopt);
    } catch (...) {
        treeFailure = std::current_exception();
        cancel.request_stop();
    }
    auto [ocrFailure, outcome] = co_await ocr(boost::asio::as_tuple(boost::asio::use_awaitable));
    if (treeFailure) std::rethrow_exception(treeFailure);
    if (ocrFailure) std::rethrow_exception(ocrFailure);
    both.ocr = std::move(outcome);
    co_return both;
}

/// The tree's text was written once for all requests; only the lines are added.
std::optional<std::string> bodyOf(const Both& both) {
    const SharedBody& tree = both.tree.snapshot->json();
    const auto lines = encodeJSON(both.ocr.results);
    if (!tree || !lines) return std::nullopt;
    std::string body;
    body.reserve(tree->size() + lines->size() + 8);
    body.append(*tree, 0, tree->size() - 1);
    body += ",\"ocr\":";
    body += *lines;
    body += '}';
    return body;
}

const char* hitOrMiss(bool hit) {
    return hit ? "HIT" : "MISS";
}

HTTPResponse failureResponse(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const HTTPError& error) {
        if (error.errorCase() == HTTPError::Case::unauthorized) {
            return jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint));
        }
        return jsonResponse(500, {{"error", "internal_error"}, {"message", error.what()}});
    } catch (const std::exception& error) {
        return jsonResponse(500, {{"error", "internal_error"}, {"message", error.what()}});
    }
}

}  // namespace

Task<HTTPResponse> treeAndOCR(HTTPRequest request) {
    TreeAndOCRRequest wanted;
    try {
        const auto decode = [&] { return decodeJSON<TreeAndOCRRequest>(request.body); };
        wanted = co_await runBlocking(decode);
    } catch (const DecodingError& error) {
        co_return jsonResponse(400, {{"error", "bad_request"}, {"message", error.what()}});
    }
    std::exception_ptr failure;
    try {
        OCROptions options{std::move(wanted.imageBase64), std::move(wanted.imagePath), wanted.pid,
                           wanted.windowId};
        const Both both = co_await readBoth(wanted.root_pid, std::move(options));
        const auto write = [&] { return bodyOf(both); };
        HTTPResponse response = jsonTextResponse(200, co_await runBlocking(write));
        response.setHeader("X-Varkel-Cache", hitOrMiss(both.tree.cacheHit && both.ocr.cacheHit));
        response.setHeader("X-Varkel-AX-Cache", hitOrMiss(both.tree.cacheHit));
        response.setHeader("X-Varkel-OCR-Cache", hitOrMiss(both.ocr.cacheHit));
        co_return response;
    } catch (...) {
        failure = std::current_exception();
    }
    co_return failureResponse(failure);
}

}  // namespace varkel
