#pragma once

#include <optional>
#include <string_view>

#include "keys/KeyMap.h"
#include "platform/EventPoster.h"

namespace varkel {

/// The two events of one key; either may be missing when it cannot be made.
struct KeyEvents {
    std::optional<CGEvent> down;
    std::optional<CGEvent> up;
};

/// The events that press a key with its modifiers. Any thread.
KeyEvents eventsForKeyPress(EventPoster& poster, const KeyPress& press);

/// The events that type one character (one grapheme cluster, UTF-8): its key where it has one, otherwise key
/// code 0 carrying the character. Any thread.
KeyEvents eventsForCharacter(EventPoster& poster, std::string_view character);

}  // namespace varkel
