#include "ax/AXTree.h"

#include <functional>
#include <optional>
#include <utility>

#include "ax/AXTreeBuilder.h"
#include "ax/AXTreeCache.h"
#include "ax/BatchManager.h"
#include "ax/ChangeCounter.h"
#include "ax/PathCache.h"
#include "ax/SingleFlight.h"
#include "base/BlockingPool.h"
#include "http/JSONResponse.h"
#include "platform/Platform.h"

namespace varkel {

namespace {

std::optional<pid_t> rootPidOf(const TreeTarget& target) {
    const auto* root = std::get_if<RootPid>(&target);
    if (root == nullptr) return std::nullopt;
    if (!std::in_range<pid_t>(root->value)) throw HTTPError(HTTPError::Case::badRequest);
    return static_cast<pid_t>(root->value);
}

/// The process whose tree a request is for when the cache does not answer it.
pid_t choosePid(const TreeTarget& target, std::optional<pid_t> frontmost) {
    if (const auto* batch = std::get_if<BatchId>(&target)) {
        if (const auto pinned = BatchManager::shared().lookup(batch->value)) return *pinned;
    }
    if (const auto root = rootPidOf(target)) return *root;
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
    PathCache::shared().insert(tree->tree());
    return tree;
}

}  // namespace

Task<AXTreeData> axTreeData(TreeTarget target) {
    const std::optional<pid_t> frontmost = co_await frontmostIfTrusted();
    const pid_t key = AXTreeCache::keyFor(rootPidOf(target), frontmost);
    AXTreeCache& cache = AXTreeCache::shared();
    if (TreeSnapshotRef cached = cache.get(key, frontmost)) co_return AXTreeData{std::move(cached), true};
    const pid_t pid = choosePid(target, frontmost);
    const std::uint64_t changes = globalChangeCounter().value();
    std::function<TreeSnapshotRef()> read = [&cache, pid, key, changes] {
        TreeSnapshotRef tree = readTree(pid);
        cache.set(key, tree, changes);
        return tree;
    };
    TreeSnapshotRef tree = co_await SingleFlight::shared().run(pid, changes, std::move(read));
    co_return AXTreeData{std::move(tree), false};
}

Task<HTTPResponse> axTree(TreeTarget target) {
    const AXTreeData data = co_await axTreeData(std::move(target));
    // Large trees take a while to write; that is work for the pool, and done only once per tree.
    const auto write = [&] { data.snapshot->json(); };
    if (!data.snapshot->isWritten()) co_await runBlocking(write);
    const SharedBody& json = data.snapshot->json();
    HTTPResponse response = json ? jsonTextResponse(200, json) : jsonTextResponse(200, std::nullopt);
    response.setHeader("X-Varkel-Cache", data.cacheHit ? "HIT" : "MISS");
    co_return response;
}

}  // namespace varkel
