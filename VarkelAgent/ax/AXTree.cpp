#include "ax/AXTree.h"

#include <functional>
#include <limits>

#include "ax/AXError.h"
#include "ax/AXTreeBuilder.h"
#include "ax/AXTreeCache.h"
#include "ax/BatchManager.h"
#include "ax/ChangeCounter.h"
#include "ax/PathMemory.h"
#include "ax/TreeBuilds.h"
#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

std::optional<pid_t> toPid(std::optional<std::int64_t> rootPid) {
    if (!rootPid) return std::nullopt;
    using Limits = std::numeric_limits<pid_t>;
    if (*rootPid < Limits::min() || *rootPid > Limits::max()) throw HTTPError(HTTPError::Case::badRequest);
    return static_cast<pid_t>(*rootPid);
}

/// The process whose tree a request is for when the cache does not answer it.
pid_t choosePid(std::optional<pid_t> rootPid, const std::optional<std::string>& batchId,
                std::optional<pid_t> frontmost) {
    if (batchId) {
        if (const auto pinned = BatchManager::shared().lookup(*batchId)) return *pinned;
    }
    if (rootPid) return *rootPid;
    if (!frontmost) throw HTTPError(HTTPError::Case::invalidRequest);
    return *frontmost;
}

/// The frontmost application, for a process that may ask for trees. Asked without a wait where that is
/// possible, which keeps a request that the cache answers on its I/O thread.
Task<std::optional<pid_t>> frontmostIfTrusted() {
    Platform& platform = Platform::current();
    if (platform.accessibility->isKnownTrusted()) {
        if (const auto known = platform.workspace->frontmostApplicationIfKnown()) co_return *known;
    }
    const auto ask = [&] {
        if (!platform.accessibility->AXIsProcessTrusted()) throw HTTPError(HTTPError::Case::unauthorized);
        return frontmostApplicationPid();
    };
    co_return co_await runBlocking(ask);
}

TreeSnapshotRef readTree(pid_t pid) {
    const AXUIElementRef application = Platform::current().accessibility->AXUIElementCreateApplication(pid);
    TreeSnapshotRef tree = makeTreeSnapshot(buildTree(application, "0"));
    PathMemory::shared().learn(tree->tree());
    return tree;
}

}  // namespace

Task<AXTreeData> axTreeData(std::optional<std::int64_t> rootPid, std::optional<std::string> batchId) {
    const std::optional<pid_t> frontmost = co_await frontmostIfTrusted();
    const std::optional<pid_t> root = toPid(rootPid);
    const pid_t key = AXTreeCache::keyFor(root, frontmost);
    AXTreeCache& cache = AXTreeCache::shared();
    if (TreeSnapshotRef cached = cache.get(key, frontmost)) co_return AXTreeData{std::move(cached), true};
    const pid_t pid = choosePid(root, batchId, frontmost);
    const std::uint64_t changes = globalChangeCounter().value();
    std::function<TreeSnapshotRef()> read = [&cache, pid, key, changes] {
        TreeSnapshotRef tree = readTree(pid);
        cache.set(key, tree, changes);
        return tree;
    };
    TreeSnapshotRef tree = co_await TreeBuilds::shared().share(pid, changes, std::move(read));
    co_return AXTreeData{std::move(tree), false};
}

HTTPResponse axTreeFailure(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const HTTPError& error) {
        switch (error.errorCase()) {
            case HTTPError::Case::unauthorized:
                return jsonResponse(403, axErrorResponse(AXErrorCode::permissionMissing, accessibilityHint));
            case HTTPError::Case::invalidRequest:
                return jsonResponse(500, {{"error", "could_not_get_frontmost_app"}});
            case HTTPError::Case::badRequest:
                return jsonResponse(400, {{"error", "bad_request"}});
            case HTTPError::Case::notFound:
            case HTTPError::Case::methodNotAllowed:
                break;
        }
        return jsonResponse(500, {{"error", "internal_error"}});
    } catch (const std::exception& error) {
        return jsonResponse(500, {{"error", "internal_error"}, {"message", error.what()}});
    }
}

Task<HTTPResponse> axTree(std::optional<std::int64_t> rootPid, std::optional<std::string> batchId) {
    std::exception_ptr failure;
    try {
        const AXTreeData data = co_await axTreeData(rootPid, std::move(batchId));
        // Large trees take a while to write; that is work for the pool, and done only once per tree.
        const auto write = [&] { data.snapshot->json(); };
        if (!data.snapshot->isWritten()) co_await runBlocking(write);
        const SharedBody& json = data.snapshot->json();
        HTTPResponse response = json ? jsonTextResponse(200, json) : jsonTextResponse(200, std::nullopt);
        response.setHeader("X-Varkel-Cache", data.cacheHit ? "HIT" : "MISS");
        co_return response;
    } catch (...) {
        failure = std::current_exception();
    }
    co_return axTreeFailure(failure);
}

}  // namespace varkel
