#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varkel {

/// A text is not JSON. what() says where.
class JSONSyntaxError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The text of one JSON value, without white space around it. Nothing of what it holds is stored: its members
/// and elements are found by going through the text, which takes no stack however deep they nest. The text
/// must outlive it. Any thread.
class JSONText {
  public:
    enum class Kind { null, boolean, number, string, array, object };

    /// Checks the whole text, which must hold one value and be UTF-8. Throws JSONSyntaxError.
    static JSONText parse(std::string_view text);

    Kind kind() const;

    /// As it is written.
    std::string_view text() const { return text_; }

    /// What a string holds, its escapes replaced.
    std::string string() const;

  private:
    friend class JSONItems;

    explicit JSONText(std::string_view text) : text_(text) {}

    std::string_view text_;
};

/// Goes through the members of an object or the elements of an array, in order.
class JSONItems {
  public:
    explicit JSONItems(const JSONText& container) : rest_(container.text().substr(1)) {}

    /// The next element; nothing after the last one.
    std::optional<JSONText> nextElement();

    struct Member {
        JSONText key;
        JSONText value;
    };

    /// The next member; nothing after the last one.
    std::optional<Member> nextMember();

  private:
    std::string_view rest_;
};

}  // namespace varkel
