#pragma once

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// A key of the X keyboard with the modifier keys to hold while it is pressed.
struct KeyStroke {
    xcb_keycode_t key = 0;
    std::vector<xcb_keycode_t> modifierKeys;
};

/// The server's keyboard map as it was when it was fetched: which keys give a keysym, with which modifiers.
/// One thread at a time.
class KeyboardMap {
  public:
    /// Reads the map of the core keyboard. Nothing when the server does not give it.
    static std::optional<KeyboardMap> fetch(X11Connection::Session& session);

    /// How to get a keysym while `group` is active and the modifiers `locked` are on; nothing when no key of
    /// the map gives it. Prefers the fewest modifiers.
    const KeyStroke* find(xkb_keysym_t keysym, xkb_layout_index_t group, xkb_mod_mask_t locked);

    /// The keysym on one level of a key's first group.
    xkb_keysym_t keysymAt(xcb_keycode_t key, xkb_level_index_t level) const;

    /// The key that holds a modifier down and does nothing else, looked for by the keysym on it.
    std::optional<xcb_keycode_t> modifierKey(xkb_keysym_t keysym) const;

    /// The real modifiers that such a key turns on; 0 when there is none.
    xkb_mod_mask_t modifierMask(xkb_keysym_t keysym) const;

    /// The modifiers that a Num Lock key locks: they change the keypad and nothing else.
    xkb_mod_mask_t numLockMask() const { return numLockMask_; }

    /// The key codes that nothing is bound to.
    const std::vector<xcb_keycode_t>& spareKeys() const { return spareKeys_; }

    /// The lowest and the highest key code that the server has.
    xcb_keycode_t minKeyCode() const { return min_; }
    xcb_keycode_t maxKeyCode() const { return max_; }

  private:
    struct KeymapDeleter {
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    };
    struct StateDeleter {
        void operator()(xkb_state* state) const { xkb_state_unref(state); }
    };

    /// A key whose press turns modifiers on while it is held, and has no other effect.
    struct Modifier {
        xcb_keycode_t key = 0;
        xkb_keysym_t keysym = XKB_KEY_NoSymbol;
        xkb_mod_mask_t mask = 0;
    };

    void surveyKeys();
    void surveyModifier(xcb_keycode_t key);
    void index(xkb_layout_index_t group, xkb_mod_mask_t locked);
    void indexLevel(xcb_keycode_t key, xkb_layout_index_t layout, xkb_level_index_t level,
                    xkb_mod_mask_t locked, xkb_state* state);
    std::optional<std::vector<xcb_keycode_t>> keysFor(xkb_mod_mask_t mask) const;

    std::unique_ptr<xkb_keymap, KeymapDeleter> keymap_;
    xcb_keycode_t min_ = 8;
    xcb_keycode_t max_ = 255;
    std::vector<Modifier> modifiers_;
    std::vector<xcb_keycode_t> spareKeys_;
    xkb_mod_mask_t numLockMask_ = 0;

    /// The strokes for one group and one set of locked modifiers, made when first asked for.
    std::unordered_map<xkb_keysym_t, KeyStroke> strokes_;
    std::optional<std::pair<xkb_layout_index_t, xkb_mod_mask_t>> indexedFor_;
};

}  // namespace varkel
