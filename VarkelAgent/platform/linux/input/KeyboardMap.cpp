#include "platform/linux/input/KeyboardMap.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <array>
#include <bit>

#include "platform/linux/input/Keysyms.h"

namespace varkel {

namespace {

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};

xkb_keysym_t firstKeysym(xkb_keymap* keymap, xcb_keycode_t key, xkb_layout_index_t layout,
                         xkb_level_index_t level) {
    const xkb_keysym_t* keysyms = nullptr;
    return xkb_keymap_key_get_syms_by_level(keymap, key, layout, level, &keysyms) == 1
               ? keysyms[0]
               : static_cast<xkb_keysym_t>(XKB_KEY_NoSymbol);
}

}  // namespace

std::optional<KeyboardMap> KeyboardMap::fetch(X11Connection::Session& session) {
    const std::int32_t device = xkb_x11_get_core_keyboard_device_id(session.get());
    // Contexts are not for several threads; the map keeps this one alive.
    const std::unique_ptr<xkb_context, ContextDeleter> context(xkb_context_new(
        static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES)));
    if (device < 0 || !context) return std::nullopt;
    KeyboardMap map;
    map.keymap_.reset(
        xkb_x11_keymap_new_from_device(context.get(), session.get(), device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!map.keymap_) return std::nullopt;
    map.min_ = xcb_get_setup(session.get())->min_keycode;
    map.max_ = xcb_get_setup(session.get())->max_keycode;
    map.surveyKeys();
    return map;
}

void KeyboardMap::surveyKeys() {
    for (unsigned code = min_; code <= max_; ++code) {
        const auto key = static_cast<xcb_keycode_t>(code);
        if (xkb_keymap_num_layouts_for_key(keymap_.get(), key) == 0) {
            spareKeys_.push_back(key);
        } else {
            surveyModifier(key);
        }
    }
}

/// What a modifier key does is found out by pressing it on a keyboard of our own.
void KeyboardMap::surveyModifier(xcb_keycode_t key) {
    const std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap_.get()));
    const auto changed = static_cast<unsigned>(xkb_state_update_key(state.get(), key, XKB_KEY_DOWN));
    const xkb_keysym_t keysym = firstKeysym(keymap_.get(), key, 0, 0);
    if (keysym == XKB_KEY_Num_Lock)
        numLockMask_ |= xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_LOCKED);

    constexpr unsigned held = XKB_STATE_MODS_DEPRESSED | XKB_STATE_MODS_EFFECTIVE | XKB_STATE_LEDS;
    if ((changed & XKB_STATE_MODS_DEPRESSED) == 0 || (changed & ~held) != 0) return;
    modifiers_.push_back({key, keysym, xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED)});
}

xkb_keysym_t KeyboardMap::keysymAt(xcb_keycode_t key, xkb_level_index_t level) const {
    return firstKeysym(keymap_.get(), key, 0, level);
}

std::optional<xcb_keycode_t> KeyboardMap::modifierKey(xkb_keysym_t keysym) const {
    const auto found = std::find_if(modifiers_.begin(), modifiers_.end(),
                                    [&](const Modifier& modifier) { return modifier.keysym == keysym; });
    return found == modifiers_.end() ? std::nullopt : std::optional(found->key);
}

xkb_mod_mask_t KeyboardMap::modifierMask(xkb_keysym_t keysym) const {
    const auto found = std::find_if(modifiers_.begin(), modifiers_.end(),
                                    [&](const Modifier& modifier) { return modifier.keysym == keysym; });
    return found == modifiers_.end() ? 0 : found->mask;
}

std::optional<std::vector<xcb_keycode_t>> KeyboardMap::keysFor(xkb_mod_mask_t mask) const {
    std::vector<xcb_keycode_t> keys;
    for (xkb_mod_mask_t left = mask; left != 0; left &= left - 1) {
        const xkb_mod_mask_t bit = left & (~left + 1);
        const auto found = std::find_if(modifiers_.begin(), modifiers_.end(),
                                        [&](const Modifier& modifier) { return modifier.mask == bit; });
        if (found == modifiers_.end()) return std::nullopt;
        keys.push_back(found->key);
    }
    return keys;
}

const KeyStroke* KeyboardMap::find(xkb_keysym_t keysym, xkb_layout_index_t group, xkb_mod_mask_t locked) {
    if (indexedFor_ != std::pair(group, locked)) index(group, locked);
    const auto found = strokes_.find(canonicalKeysym(keysym));
    return found == strokes_.end() ? nullptr : &found->second;
}

void KeyboardMap::index(xkb_layout_index_t group, xkb_mod_mask_t locked) {
    strokes_.clear();
    indexedFor_ = std::pair(group, locked);
    const std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap_.get()));
    for (unsigned code = min_; code <= max_; ++code) {
        const auto key = static_cast<xcb_keycode_t>(code);
        xkb_state_update_mask(state.get(), 0, 0, locked, 0, 0, group);
        const xkb_layout_index_t layout = xkb_state_key_get_layout(state.get(), key);
        if (layout == XKB_LAYOUT_INVALID) continue;
        const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap_.get(), key, layout);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            indexLevel(key, layout, level, locked, state.get());
        }
    }
}

void KeyboardMap::indexLevel(xcb_keycode_t key, xkb_layout_index_t layout, xkb_level_index_t level,
                             xkb_mod_mask_t locked, xkb_state* state) {
    const xkb_keysym_t keysym = firstKeysym(keymap_.get(), key, layout, level);
    if (keysym == XKB_KEY_NoSymbol) return;

    std::array<xkb_mod_mask_t, 32> masks{};
    const std::size_t count =
        xkb_keymap_key_get_mods_for_level(keymap_.get(), key, layout, level, masks.data(), masks.size());
    for (std::size_t at = 0; at < count; ++at) {
        auto keys = keysFor(masks[at]);
        if (!keys) continue;
        // What is locked counts too, and types differ in what they make of it.
        const xkb_layout_index_t group = xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_LOCKED);
        xkb_state_update_mask(state, masks[at], 0, locked, 0, 0, group);
        if (xkb_state_key_get_one_sym(state, key) != keysym) continue;

        const xkb_keysym_t canonical = canonicalKeysym(keysym);
        const auto known = strokes_.find(canonical);
        if (known != strokes_.end() && known->second.modifierKeys.size() <= keys->size()) continue;
        strokes_[canonical] = KeyStroke{key, std::move(*keys)};
    }
}

}  // namespace varkel
