#pragma once

#include <unicode/regex.h>

#include <boost/describe/class.hpp>
#include <chrono>
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
/// somewhere by the regular expression, which is compiled once. A pattern that does not compile is no match,
/// nor is a value that has not been decided when all of them together have taken `patience`. Belongs to one
/// thread at a time; the query must outlive it.
class ElementFilter {
  public:
    /// Patterns that need more are the kind that never end.
    static constexpr std::chrono::seconds patience{1};

    explicit ElementFilter(const AXQuery& query);
    ElementFilter(const ElementFilter&) = delete;
    ElementFilter& operator=(const ElementFilter&) = delete;

    bool matches(const AXElementInfo& element);

  private:
    bool valueMatches(const std::string& value);

    using Clock = std::chrono::steady_clock;

    static UBool mayGoOn(const void* filter, std::int32_t steps);

    const AXQuery& query_;
    // Null without a pattern, or when it does not compile.
    std::unique_ptr<icu::RegexMatcher> matcher_;
    /// What is left for the values to come, and when the value at hand has used it up.
    Clock::duration left_ = patience;
    Clock::time_point deadline_;
};

}  // namespace varkel
