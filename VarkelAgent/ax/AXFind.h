#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <vector>

#include "ax/AXElementInfo.h"
#include "ax/ElementFilter.h"
#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a successful search.
struct FindResponse {
    /// In pre-order, each with its whole subtree, so that matches may contain other matches.
    std::vector<AXElementInfo> matches;
};
BOOST_DESCRIBE_STRUCT(FindResponse, (), (matches))

/// Adds the nodes of a tree that pass the filter to `matches`, in pre-order, and returns whether the limit
/// has been reached. The limit is looked at after each match, so one match is found even when it is 0 or
/// less. Any thread.
bool collectMatches(const AXElementInfo& from, ElementFilter& filter, std::int64_t maxResults,
                    std::vector<AXElementInfo>& matches);

/// Answers a search of the batch's application, or of the frontmost one. Throws as axTreeData() does.
Task<HTTPResponse> axFind(AXQuery query);

}  // namespace varkel
