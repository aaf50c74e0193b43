#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>

#include "ax/AXError.h"
#include "ax/TreeSnapshot.h"
#include "base/Task.h"
#include "http/FailureTable.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// A tree and where it came from.
struct AXTreeData {
    /// Never null.
    TreeSnapshotRef snapshot;
    bool cacheHit = false;
};

/// An application by its process, as a request gives it.
struct RootPid {
    std::int64_t value = 0;
};

/// An application by the batch that is pinned to it; the frontmost one when the batch is unknown.
struct BatchId {
    std::string value;
};

/// Whose tree is wanted; the frontmost application's without any.
using TreeTarget = std::variant<std::monostate, RootPid, BatchId>;

/// The one way to get a tree: from the cache, else read from the application. Throws HTTPError: unauthorized
/// without the accessibility permission, invalidRequest when the frontmost application was wanted and there
/// is none, badRequest for a root pid that cannot name a process. Requests that come while that application's
/// tree is being read, with nothing done to the desktop since the reading began, share it; that is no hit.
/// Started on an I/O thread; blocks none.
Task<AXTreeData> axTreeData(TreeTarget target);

/// Answers a tree request; a cache hit is told in "X-Varkel-Cache". Throws as axTreeData() does.
Task<HTTPResponse> axTree(TreeTarget target);

/// How what axTreeData() throws is answered.
inline constexpr std::array<FailureRule, 3> axTreeFailures{{
    {Failure::unauthorized, 403, wireName(AXErrorCode::permissionMissing), FailureRule::Detail::hint,
     accessibilityHint},
    {Failure::invalidRequest, 500, couldNotGetFrontmostApp},
    {Failure::badRequest, 400, badRequestCode},
}};

}  // namespace varkel
