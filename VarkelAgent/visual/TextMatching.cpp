#include "visual/TextMatching.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>

namespace varkel {

namespace {

icu::UnicodeString fromUTF8(std::string_view text) {
    // ICU counts in 32 bits. Nothing on a screen is as long as that; a query may be, and then matches
    // nothing.
    constexpr auto most = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max() / 4);
    if (text.size() > most) text = text.substr(0, most);
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

}  // namespace

ComparableText::ComparableText(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
    if (U_SUCCESS(status))
        text_ = composer->normalize(fromUTF8(text).toLower(icu::Locale::getRoot()), status);
    if (U_FAILURE(status)) throw std::runtime_error("texts cannot be normalised");
}

std::size_t ComparableText::length() const {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> characters(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status)) throw std::runtime_error("characters cannot be counted");
    characters->setText(text_);
    std::size_t count = 0;
    while (characters->next() != icu::BreakIterator::DONE) ++count;
    return count;
}

}  // namespace varkel
