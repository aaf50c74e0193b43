#include "ax/AXTree.h"

#include <limits>

#include "ax/AX+Shared.h"
#include "ax/AXTreeBuilder.h"
#include "ax/AXTreeCache.h"
#include "ax/BatchManager.h"
#include "ax/PathMemory.h"
#include "ax/TreeBuilds.h"
#include "http/BlockingPool.h"
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

pid_t choosePid(std::optional<pid_t> rootPid, const std::optional<std::string>& batchId) {
    if (batchId) {
        if (const auto pinned = BatchManager::shared().lookup(*batchId)) return *pinned;
    }
    if (rootPid) return *rootPid;
    const auto frontmost = frontmostApplicationPid();
    if (!frontmost) throw HTTPError(HTTPError::Case::invalidRequest);
    return *frontmost;
}

/// What there is to a request before its tree is read.
struct Outlook {
    /// The cached tree, or null when there is none.
    TreeSnapshotRef cached;
    /// The key that the tree is kept under.
    pid_t key;
};

Outlook outlookWith(std::optional<std::int64_t> rootPid, std::optional<pid_t> frontmost) {
    const std::optional<pid_t> root = toPid(rootPid);
    return {AXTreeCache::shared().getIfFresh(root, frontmost), AXTreeCache::keyFor(root, frontmost)};
}

/// Nothing when it takes a wait to find out about the permission or the frontmost application. Keeps a
/// request that the cache answers on its I/O thread.
std::optional<Outlook> lookWithoutWaiting(std::optional<std::int64_t> rootPid) {
    Platform& platform = Platform::current();
    if (!platform.accessibility->isKnownTrusted()) return std::nullopt;
    const auto frontmost = platform.workspace->frontmostApplicationIfKnown();
    if (!frontmost) return std::nullopt;
    return outlookWith(rootPid, *frontmost);
}

Task<Outlook> askForOutlook(std::optional<std::int64_t> rootPid) {
    const auto ask = [rootPid] {
        if (!Platform::current().accessibility->AXIsProcessTrusted())
            throw HTTPError(HTTPError::Case::unauthorized);
        return outlookWith(rootPid, frontmostApplicationPid());
    };
    co_return co_await runBlocking(ask);
}

Task<Outlook> look(std::optional<std::int64_t> rootPid) {
    if (auto known = lookWithoutWaiting(rootPid)) co_return *std::move(known);
    co_return co_await askForOutlook(rootPid);
}

AXTreeData foundAs(const Outlook& outlook) {
    return {outlook.cached, true, outlook.key};
}

/// Whether a request reads the application that a tree under this key is of when nobody's batch is pinned.
bool readsApplicationOf(pid_t key, const std::optional<std::string>& batchId) {
    return !batchId || BatchManager::shared().lookup(*batchId).value_or(key) == key;
}

}  // namespace

AXTreeData axTreeDataBlocking(std::optional<std::int64_t> rootPid,
                              const std::optional<std::string>& batchId) {
    Accessibility& accessibility = *Platform::current().accessibility;
    if (!accessibility.AXIsProcessTrusted()) throw HTTPError(HTTPError::Case::unauthorized);
    const std::optional<pid_t> root = toPid(rootPid);
    AXTreeCache& cache = AXTreeCache::shared();
    const std::optional<pid_t> frontmost = frontmostApplicationPid();
    if (TreeSnapshotRef cached = cache.get(root, frontmost)) {
        return {std::move(cached), true, AXTreeCache::keyFor(root, frontmost)};
    }
    const pid_t pid = choosePid(root, batchId);
    const AXUIElementRef application = accessibility.AXUIElementCreateApplication(pid);
    auto snapshot = std::make_shared<const TreeSnapshot>(buildTree(application, "0"));
    cache.set(root, snapshot);
    PathMemory::shared().learn(snapshot->tree());
    return {std::move(snapshot), false, pid};
}

Task<AXTreeData> axTreeData(std::optional<std::int64_t> rootPid, std::optional<std::string> batchId) {
    std::optional<Outlook> known = lookWithoutWaiting(rootPid);
    if (known && known->cached) co_return foundAs(*known);
    TreeBuilds& builds = TreeBuilds::shared();
    const std::uint64_t before = builds.lastBegun();
    if (!known) known = co_await askForOutlook(rootPid);
    Outlook outlook = *std::move(known);
    // Twice at the most: what the first build gives may be out of date by then, and the second one began
    // after this request had come.
    for (int waits = 0; waits < 2 && !outlook.cached; ++waits) {
        const pid_t key = outlook.key;
        const TreeBuilds::Ended build = co_await builds.waitForLast(key);
        if (build.number == 0) break;
        outlook = co_await look(rootPid);
        if (outlook.cached || outlook.key != key) continue;
        if (build.number > before && build.tree && readsApplicationOf(key, batchId))
            co_return AXTreeData{build.tree, false, key};
    }
    if (outlook.cached) co_return foundAs(outlook);
    // Nothing may be waited for since the last look at the builds, or two would begin.
    TreeBuilds::Build build = builds.begin(outlook.key);
    const auto work = [&] { return axTreeDataBlocking(rootPid, batchId); };
    AXTreeData data = co_await runBlocking(work);
    // Another application may have come to the front meanwhile. What another build had left in the cache by
    // then is good for those who wait as well.
    if (data.pid == outlook.key) build.share(data.snapshot);
    co_return data;
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
        if (!data.cacheHit) co_await runBlocking(write);
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
