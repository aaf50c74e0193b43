#pragma once

#include <xkbcommon/xkbcommon.h>

#include <optional>
#include <string_view>
#include <vector>

#include "platform/EventPoster.h"

namespace varkel {

/// What a virtual key means on X11.
struct KeyMeaning {
    xkb_keysym_t keysym = XKB_KEY_NoSymbol;
    /// Shift was used to choose the character and is not held for its own sake any more.
    bool shiftChoosesCharacter = false;
};

/// The keysym of a virtual key code, with or without Shift; nothing for a code that has no counterpart. Pure.
std::optional<KeyMeaning> keysymForKey(CGKeyCode keyCode, bool shift);

/// The keysyms that type a text, in order. A return before a line feed, together one line break, is one
/// press of Return; control characters that no key stands for are left out. Pure.
std::vector<xkb_keysym_t> keysymsForText(std::u16string_view text);

/// The keysym in the one spelling in which keysyms are compared: several may stand for one character. Pure.
xkb_keysym_t canonicalKeysym(xkb_keysym_t keysym);

}  // namespace varkel
