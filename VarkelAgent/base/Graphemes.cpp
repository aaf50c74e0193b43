#include "base/Graphemes.h"

#include <unicode/brkiter.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>

#include <memory>

namespace varkel {

namespace {

struct TextCloser {
    void operator()(UText* text) const { utext_close(text); }
};

/// Making an iterator loads rules; one per thread is made and pointed at each text in turn.
icu::BreakIterator* characterIterator() {
    thread_local const std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::BreakIterator>(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    }();
    return iterator.get();
}

bool isASCIIWithoutReturn(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80 || c == '\r') return false;
    }
    return true;
}

std::vector<std::string_view> singleBytes(std::string_view text) {
    std::vector<std::string_view> characters;
    characters.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) characters.push_back(text.substr(at, 1));
    return characters;
}

}  // namespace

std::vector<std::string_view> graphemeClusters(std::string_view text) {
    // Within ASCII only a return and a line feed join.
    if (isASCIIWithoutReturn(text)) return singleBytes(text);

    UErrorCode status = U_ZERO_ERROR;
    icu::BreakIterator* iterator = characterIterator();
    const std::unique_ptr<UText, TextCloser> source(
        utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status));
    if (iterator == nullptr || U_FAILURE(status)) return singleBytes(text);
    iterator->setText(source.get(), status);
    if (U_FAILURE(status)) return singleBytes(text);

    std::vector<std::string_view> characters;
    int32_t start = iterator->first();
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE;
         start = end, end = iterator->next()) {
        characters.push_back(
            text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
    }
    return characters;
}

std::u16string utf16(std::string_view text) {
    const auto converted =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    return {converted.getBuffer(), static_cast<std::size_t>(converted.length())};
}

}  // namespace varkel
