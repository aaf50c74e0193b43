#pragma once

#include <xkbcommon/xkbcommon.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Deadline.h"

namespace varkel {

/// The keyboard layouts of the compositor's seat, and which keys give which keysyms. One thread at a time.
class SeatKeymap {
  public:
    /// A key, by its number in the keymap, one of its levels, and what is on it.
    struct Key {
        xkb_keycode_t code = 0;
        xkb_level_index_t level = 0;
        xkb_keysym_t keysym = XKB_KEY_NoSymbol;
    };

    /// Asks the compositor that WAYLAND_DISPLAY names. Nothing when it does not tell in time, or has no
    /// keyboard.
    static std::optional<SeatKeymap> ask(Deadline deadline);

    /// From the text of a keymap in XKB's format; nothing when it is none. Pure.
    static std::optional<SeatKeymap> parse(const std::string& text);

    xkb_layout_index_t layouts() const { return xkb_keymap_num_layouts(keymap_.get()); }

    /// The key that gives a keysym, or the same character, in a layout, with the lowest level; nothing when
    /// none does below `levels`.
    std::optional<Key> find(xkb_keysym_t keysym, xkb_layout_index_t layout, xkb_level_index_t levels) const;

    /// The keysym as it stands on a key in every layout, for devices that look keysyms up in the active one.
    std::optional<xkb_keysym_t> findInAll(xkb_keysym_t keysym, xkb_level_index_t levels) const;

    /// The modifiers that choose a level of a key.
    xkb_mod_mask_t modifiersOf(const Key& key, xkb_layout_index_t layout) const;

    /// The modifiers that a key turns on while it is down.
    xkb_mod_mask_t modifiersPressedBy(xkb_keycode_t key) const;

  private:
    struct Unref {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
        void operator()(xkb_state* state) const { xkb_state_unref(state); }
    };

    std::unique_ptr<xkb_keymap, Unref> keymap_;
};

}  // namespace varkel
