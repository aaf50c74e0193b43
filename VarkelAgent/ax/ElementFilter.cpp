#include "ax/ElementFilter.h"

#include <string_view>

namespace varkel {

namespace {

// In steps of the matcher, about a millisecond each. Patterns that need more are the kind that never end.
constexpr std::int32_t matchTimeLimit = 100;

// A tree can hold thousands of values that such a pattern never ends on: after this many it is given up.
constexpr int maxTimeOuts = 10;

/// Literal and case-sensitive, on UTF-8; an empty text is found nowhere.
bool contains(const std::optional<std::string>& text, std::string_view wanted) {
    return text && !wanted.empty() && text->find(wanted) != std::string::npos;
}

}  // namespace

ElementFilter::ElementFilter(const AXQuery& query) : query_(query) {
    if (!query.valueRegex) return;
    UErrorCode status = U_ZERO_ERROR;
    UParseError where;
    pattern_.reset(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(*query.valueRegex), 0, where, status));
    if (U_FAILURE(status)) pattern_.reset();
}

bool ElementFilter::matches(const AXElementInfo& element) {
    if (query_.role && element.role != *query_.role) return false;
    if (query_.label && !contains(element.label, *query_.label)) return false;
    if (query_.identifier && !contains(element.identifier, *query_.identifier)) return false;
    if (query_.valueRegex && !(element.value && valueMatches(*element.value))) return false;
    return true;
}

bool ElementFilter::valueMatches(const std::string& value) {
    if (!pattern_ || timeOuts_ >= maxTimeOuts) return false;
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(value);
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern_->matcher(text, status));
    if (U_FAILURE(status)) return false;
    matcher->setTimeLimit(matchTimeLimit, status);
    const bool found = matcher->find(status) != 0;
    if (status == U_REGEX_TIME_OUT) ++timeOuts_;
    return U_SUCCESS(status) && found;
}

}  // namespace varkel
