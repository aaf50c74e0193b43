#pragma once

#include <string>
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

/// Says what is about to happen. Any thread, as isCoveredByGrants().
Wording describe(const Action& action, const Target& target);

/// Whether consent that was given to an application for a while covers this: a click, a text or a scroll in
/// one of its elements, and keys that go to it without the desktop's own modifiers.
bool isCoveredByGrants(const Action& action, const Target& target);

}  // namespace varkel::overlay
