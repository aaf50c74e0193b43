#include "ax/AXFind.h"

#include <utility>

#include "ax/AXTree.h"
#include "base/BlockingPool.h"
#include "http/JSONResponse.h"

namespace varkel {

namespace {

constexpr std::int64_t defaultMaxResults = 10;

HTTPResponse search(const AXElementInfo& tree, const AXQuery& query) {
    ElementFilter filter(query);
    FindResponse response;
    collectMatches(tree, filter, query.maxResults.value_or(defaultMaxResults), response.matches);
    return jsonResponse(200, response);
}

}  // namespace

bool collectMatches(const AXElementInfo& from, ElementFilter& filter, std::int64_t maxResults,
                    std::vector<AXElementInfo>& matches) {
    if (filter.matches(from)) {
        matches.push_back(from);
        if (std::cmp_greater_equal(matches.size(), maxResults)) return true;
    }
    if (!from.children) return false;
    for (const AXElementInfo& child : *from.children) {
        if (collectMatches(child, filter, maxResults, matches)) return true;
    }
    return false;
}

Task<HTTPResponse> axFind(AXQuery query) {
    TreeTarget target;
    if (query.batch_id) target = BatchId{*query.batch_id};
    const AXTreeData data = co_await axTreeData(std::move(target));
    // Off the I/O threads: a pattern may take its time on many values, and a broad query answers at length.
    const auto work = [&] { return search(data.snapshot->tree(), query); };
    co_return co_await runBlocking(work);
}

}  // namespace varkel
