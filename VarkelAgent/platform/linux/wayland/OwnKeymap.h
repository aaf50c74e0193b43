#pragma once

#include <xkbcommon/xkbcommon.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace varkel {

/// The keymap of a keyboard that this process plays: the US keys where they are, and on spare keys what a
/// text has besides. So every character has a key, whatever layout the person has. No thread of its own.
class OwnKeymap {
  public:
    /// A key by its number in the kernel, and whether Shift chooses the character.
    struct Stroke {
        std::uint32_t key = 0;
        bool shift = false;
        friend bool operator==(const Stroke&, const Stroke&) = default;
    };

    /// How many characters besides the US ones there is room for at a time.
    static constexpr std::size_t spareKeys = 48;
    static constexpr std::size_t capacity = 2 * spareKeys;

    /// The stroke that gives a keysym; nothing when no key has it.
    std::optional<Stroke> find(xkb_keysym_t keysym) const;

    /// Makes room for what is typed next: as many of the keysyms as fit, from the first on. What is bound and
    /// not among those may be lost. Whether the keymap has changed.
    bool bind(std::span<const xkb_keysym_t> upcoming);

    /// The keymap in the format of XKB, complete; empty when the system's keyboard data are not installed.
    std::string text() const;

  private:
    bool isBound(xkb_keysym_t keysym) const { return find(keysym).has_value(); }

    std::array<xkb_keysym_t, capacity> bound_{};
};

}  // namespace varkel
