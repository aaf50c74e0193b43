#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/Deadline.h"
#include "platform/linux/wayland/WaylandConnection.h"

struct wl_keyboard;
struct wl_seat;

namespace varkel {

/// The keyboard layouts of a seat, and which keys give which keysyms. One thread at a time.
class SeatKeymap {
  public:
    /// A key, by its number in the keymap, one of its levels, and what is on it.
    struct Key {
        xkb_keycode_t code = 0;
        xkb_level_index_t level = 0;
        xkb_keysym_t keysym = XKB_KEY_NoSymbol;
    };

    /// How to get a keysym: a key and those that are held meanwhile, by their numbers in the kernel.
    struct Stroke {
        std::uint32_t key = 0;
        std::vector<std::uint32_t> modifierKeys;
    };

    /// From the text of a keymap in XKB's format; nothing when it is none. Pure.
    static std::optional<SeatKeymap> parse(const std::string& text);

    xkb_layout_index_t layouts() const { return xkb_keymap_num_layouts(keymap_.get()); }

    /// The key that gives a keysym, or the same character, in a layout, with the lowest level; nothing when
    /// none does below `levels`.
    std::optional<Key> find(xkb_keysym_t keysym, xkb_layout_index_t layout, xkb_level_index_t levels) const;

    /// The keysym as it stands on a key in every layout, for devices that look keysyms up in the active one:
    /// they take the first key that has it on any level, and reach `levels` of them.
    std::optional<xkb_keysym_t> findInAll(xkb_keysym_t keysym, xkb_level_index_t levels) const;

    /// How to get a keysym, or the same character, in a layout; nothing when no key gives it with Shift and
    /// AltGr.
    std::optional<Stroke> stroke(xkb_keysym_t keysym, xkb_layout_index_t layout) const;

  private:
    bool isReached(xkb_keysym_t keysym, xkb_layout_index_t layout, xkb_level_index_t levels) const;

    /// The modifiers that choose a level of a key.
    xkb_mod_mask_t modifiersOf(const Key& key, xkb_layout_index_t layout) const;

    /// The modifiers that a key turns on while it is down.
    xkb_mod_mask_t modifiersPressedBy(xkb_keycode_t key) const;

    struct Unref {
        void operator()(xkb_context* context) const { xkb_context_unref(context); }
        void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
        void operator()(xkb_state* state) const { xkb_state_unref(state); }
    };

    std::unique_ptr<xkb_keymap, Unref> keymap_;
};

/// Follows the layouts of the seat of the compositor that WAYLAND_DISPLAY names. One thread at a time.
class SeatLayouts {
  public:
    SeatLayouts() = default;
    SeatLayouts(const SeatLayouts&) = delete;
    SeatLayouts& operator=(const SeatLayouts&) = delete;
    ~SeatLayouts() { disconnect(); }

    /// Those that there are now, until the next call; null when the compositor does not tell in time, or has
    /// no keyboard.
    const SeatKeymap* current(Deadline deadline);

  private:
    bool connect(WaylandConnection::Clock::time_point deadline);
    bool listen(WaylandConnection::Clock::time_point deadline);
    void forgetKeyboard();
    void disconnect();
    static void takeCapabilities(void* self, wl_seat* seat, std::uint32_t capabilities);
    static void takeKeymap(void* self, wl_keyboard* keyboard, std::uint32_t format, std::int32_t descriptor,
                           std::uint32_t size);

    WaylandConnection connection_;
    wl_seat* seat_ = nullptr;
    bool hasKeyboard_ = false;
    wl_keyboard* keyboard_ = nullptr;
    /// The keymap that the compositor has sent last, not parsed yet.
    std::optional<std::string> news_;
    std::optional<SeatKeymap> keymap_;
};

}  // namespace varkel
