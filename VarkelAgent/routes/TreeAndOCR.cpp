#include "routes/TreeAndOCR.h"

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "ax/AXTree.h"
#include "base/BlockingPool.h"
#include "base/Event.h"
#include "http/JSONResponse.h"
#include "ocr/OCR.h"

namespace varkel {

namespace {

struct Both {
    AXTreeData tree;
    OCROutcome ocr;
};

/// A recognition that runs beside its request's coroutine, on the same executor, which one thread serves.
struct RunningOCR {
    explicit RunningOCR(const boost::asio::any_io_executor& executor) : finished(executor) {}

    std::stop_source cancel;
    std::exception_ptr failure;
    OCROutcome outcome;
    Event finished;
};

Task<std::shared_ptr<RunningOCR>> startOCR(OCROptions options) {
    const auto executor = co_await boost::asio::this_coro::executor;
    auto running = std::make_shared<RunningOCR>(executor);
    auto atEnd = [running](std::exception_ptr failure, OCROutcome outcome) {
        running->failure = std::move(failure);
        running->outcome = std::move(outcome);
        running->finished.set();
    };
    auto recognition = performOCR(std::move(options), running->cancel.get_token());
    boost::asio::co_spawn(executor, std::move(recognition), std::move(atEnd));
    co_return running;
}

/// Runs both tasks side by side. A tree that fails cancels the recognition, and its error is the one thrown,
/// once the recognition has ended.
Task<Both> readBoth(TreeTarget target, OCROptions options) {
    const std::shared_ptr<RunningOCR> running = co_await startOCR(std::move(options));
    std::exception_ptr treeFailure;
    Both both;
    try {
        both.tree = co_await axTreeData(std::move(target));
    } catch (...) {
        treeFailure = std::current_exception();
        running->cancel.request_stop();
    }
    co_await running->finished.wait();
    if (treeFailure) std::rethrow_exception(treeFailure);
    if (running->failure) std::rethrow_exception(running->failure);
    both.ocr = std::move(running->outcome);
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

}  // namespace

Task<HTTPResponse> treeAndOCR(TreeAndOCRRequest request) {
    OCROptions options{std::move(request.imageBase64), std::move(request.imagePath), request.pid,
                       request.windowId};
    TreeTarget target;
    if (request.root_pid) target = RootPid{*request.root_pid};
    const Both both = co_await readBoth(std::move(target), std::move(options));
    const auto write = [&] { return bodyOf(both); };
    HTTPResponse response = jsonTextResponse(200, co_await runBlocking(write));
    response.setHeader("X-Varkel-Cache", hitOrMiss(both.tree.cacheHit && both.ocr.cacheHit));
    response.setHeader("X-Varkel-AX-Cache", hitOrMiss(both.tree.cacheHit));
    response.setHeader("X-Varkel-OCR-Cache", hitOrMiss(both.ocr.cacheHit));
    co_return response;
}

}  // namespace varkel
