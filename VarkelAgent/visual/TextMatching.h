#pragma once

#include <unicode/unistr.h>

#include <cstddef>
#include <string_view>

namespace varkel {

/// A text made ready for comparison without regard to case: lower-cased by no language's special rules, with
/// canonically equivalent spellings made one. Any thread.
class ComparableText {
  public:
    explicit ComparableText(std::string_view text);

    bool equals(const ComparableText& other) const { return text_ == other.text_; }

    /// Whether the other text occurs within this one; an empty text occurs nowhere.
    bool contains(const ComparableText& part) const {
        return !part.text_.isEmpty() && text_.indexOf(part.text_) >= 0;
    }

    /// The length in characters as a reader sees them.
    std::size_t length() const;

  private:
    icu::UnicodeString text_;
};

}  // namespace varkel
