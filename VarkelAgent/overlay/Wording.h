#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "overlay/Action.h"
#include "overlay/Target.h"

namespace varkel::overlay {

/// What a person reads. Plain text, none of it markup.
struct Wording {
    /// 'Click the button "Send" in Mail'.
    std::string sentence;
    /// What must be known beside it, a sentence each.
    std::vector<std::string> notes;
    /// What is written or run, as a whole; empty when there is none.
    std::string text;
    /// What the text is: "the text", "the script".
    std::string textName;
    /// Whether it is shown from the beginning.
    bool unfolded = false;
};

/// Says what is about to happen. Whatever comes from an application or a caller is shown as data: in one
/// line, of bounded length, without characters that cannot be seen. Any thread, like all of these.
Wording describe(const Action& action, const Target& target);

/// A text of others as one line of at most this many characters, in straight quotation marks, of which it
/// has none itself.
std::string inQuotes(std::string_view text, std::size_t longest = 60);

/// A text of others with its lines, where characters that cannot be seen, or that turn the order of others
/// round, are replaced by their numbers. Lines of more than 62 columns go on in the next one, after an
/// arrow.
std::string visible(std::string_view text);

/// Whether consent that was given to an application for a while covers this: a click, a text or a scroll in
/// one of its elements, and keys that go to it without the desktop's own modifiers.
bool isCoveredByGrants(const Action& action, const Target& target);

}  // namespace varkel::overlay
