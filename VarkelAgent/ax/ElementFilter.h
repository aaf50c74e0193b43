#pragma once

#include <unicode/regex.h>

#include <boost/describe/class.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "ax/AXElementInfo.h"

namespace varkel {

/// The body of a search request. A filter that is left out is not tested.
struct AXQuery {
    std::optional<std::string> role;
    std::optional<std::string> label;
    std::optional<std::string> identifier;
    std::optional<std::string> valueRegex;
    std::optional<std::int64_t> maxResults;
    std::optional<std::string> batch_id;
};
BOOST_DESCRIBE_STRUCT(AXQuery, (), (role, label, identifier, valueRegex, maxResults, batch_id))

/// Tests elements against a query: the role equal, label and identifier containing, the value matched
/// somewhere by the regular expression, which is compiled once. A pattern that does not compile, or a match
/// that takes too long, is no match. Belongs to one thread at a time; the query must outlive it.
class ElementFilter {
  public:
    explicit ElementFilter(const AXQuery& query);

    bool matches(const AXElementInfo& element);

  private:
    bool valueMatches(const std::string& value);

    const AXQuery& query_;
    // Null without a pattern, or when it does not compile.
    std::unique_ptr<icu::RegexPattern> pattern_;
    int timeOuts_ = 0;
};

}  // namespace varkel
