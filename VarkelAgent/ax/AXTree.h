#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ax/TreeSnapshot.h"
#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// A tree and where it came from.
struct AXTreeData {
    /// Never null.
    TreeSnapshotRef snapshot;
    bool cacheHit = false;
};

/// The one way to get a tree: from the cache, else read from the batch's application, else the root pid's,
/// else the frontmost one. Raises HTTPError: unauthorized without the accessibility permission,
/// invalidRequest when the frontmost application was wanted and there is none, badRequest for a root pid that
/// cannot name a process. Who asks while that application's tree is being read, with nothing done to the
/// desktop since the reading began, shares it; that is no hit. Started on an I/O thread; blocks none.
Task<AXTreeData> axTreeData(std::optional<std::int64_t> rootPid, std::optional<std::string> batchId);

/// Answers a tree request, whatever happens; a cache hit is told in "X-Varkel-Cache".
Task<HTTPResponse> axTree(std::optional<std::int64_t> rootPid, std::optional<std::string> batchId);

/// The answer to a request that needed a tree and could not get one. Called with the exception that
/// axTreeData() raised.
HTTPResponse axTreeFailure(const std::exception_ptr& failure);

}  // namespace varkel
