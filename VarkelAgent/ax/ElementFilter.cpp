#include "ax/ElementFilter.h"

#include <string_view>

namespace varkel {

namespace {

/// Literal and case-sensitive, on UTF-8; an empty text is found nowhere.
bool contains(const std::optional<std::string>& text, std::string_view wanted) {
    return text && !wanted.empty() && text->find(wanted) != std::string::npos;
}

}  // namespace

ElementFilter::ElementFilter(const AXQuery& query) : query_(query) {
    if (!query.valueRegex) return;
    UErrorCode status = U_ZERO_ERROR;
    const auto pattern = icu::UnicodeString::fromUTF8(*query.valueRegex);
    matcher_ = std::make_unique<icu::RegexMatcher>(pattern, 0, status);
    matcher_->setMatchCallback(mayGoOn, this, status);
    if (U_FAILURE(status)) matcher_.reset();
}

bool ElementFilter::matches(const AXElementInfo& element) {
    if (query_.role && element.role != *query_.role) return false;
    if (query_.label && !contains(element.label, *query_.label)) return false;
    if (query_.identifier && !contains(element.identifier, *query_.identifier)) return false;
    if (query_.valueRegex && !(element.value && valueMatches(*element.value))) return false;
    return true;
}

bool ElementFilter::valueMatches(const std::string& value) {
    if (!matcher_ || left_ <= Clock::duration::zero()) return false;
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(value);
    matcher_->reset(text);
    UErrorCode status = U_ZERO_ERROR;
    const Clock::time_point began = Clock::now();
    deadline_ = began + left_;
    const bool found = matcher_->find(status) != 0;
    left_ -= Clock::now() - began;
    return U_SUCCESS(status) && found;
}

/// Called by the matcher every few thousand steps. Whether it may go on.
UBool ElementFilter::mayGoOn(const void* filter, std::int32_t) {
    return Clock::now() < static_cast<const ElementFilter*>(filter)->deadline_ ? 1 : 0;
}

}  // namespace varkel
