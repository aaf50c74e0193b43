#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varkel {

/// One key with the modifiers to hold while it is pressed.
struct KeyPress {
    /// Virtual key code: the number of a physical key of the US layout.
    std::uint16_t keyCode = 0;
    /// Modifier mask, in the encoding of keyboard events.
    std::uint64_t flags = 0;

    friend bool operator==(const KeyPress&, const KeyPress&) = default;
};

/// The key that types one character (one extended grapheme cluster, UTF-8) on a US keyboard, or nothing when
/// no key does. Canonically equivalent characters count as equal. Pure; any thread.
std::optional<KeyPress> keyCodeForCharacter(std::string_view character);

/// The key and the modifiers that a chord such as "cmd+shift+t" names (UTF-8, in any letter case), or nothing
/// when it names no key. Pure; any thread.
std::optional<KeyPress> tokenToKeyPress(std::string_view token);

}  // namespace varkel
