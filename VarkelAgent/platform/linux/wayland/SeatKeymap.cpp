#include "platform/linux/wayland/SeatKeymap.h"

#include <sys/mman.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <array>
#include <utility>

#include "base/FileDescriptor.h"
#include "platform/linux/input/Keysyms.h"

namespace varkel {

namespace {

/// The largest that systems have are a tenth of it.
constexpr std::uint32_t maxKeymapSize = 1 << 20;

/// X11 programs, which may be in front, know no more keys.
constexpr xkb_keycode_t lastOfX11 = 255;

/// The numbers of XKB count from 8 on.
constexpr xkb_keycode_t xkbOffset = 8;

/// Layouts have four levels, some eight.
constexpr xkb_level_index_t allLevels = 8;

/// The keys whose modifiers choose characters.
constexpr std::array<xkb_keysym_t, 2> levelKeys{XKB_KEY_Shift_L, XKB_KEY_ISO_Level3_Shift};

void ignoreEnter(void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {}
void ignoreLeave(void*, wl_keyboard*, std::uint32_t, wl_surface*) {}
void ignoreKey(void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {}
void ignoreModifiers(void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                     std::uint32_t) {}
void ignoreRepeat(void*, wl_keyboard*, std::int32_t, std::int32_t) {}
void ignoreName(void*, wl_seat*, const char*) {}

}  // namespace

const SeatKeymap* SeatLayouts::current(Deadline deadline) {
    const auto until = WaylandConnection::Clock::now() + deadline.left();
    if (connection_.isConnected() && connection_.hasEnded()) disconnect();
    const bool told = (connection_.isConnected() || connect(until)) && connection_.synchronise(until) &&
                      (!hasKeyboard_ || keyboard_ != nullptr || listen(until));
    if (!told) disconnect();
    if (news_) keymap_ = SeatKeymap::parse(*std::exchange(news_, std::nullopt));
    return keymap_ ? &*keymap_ : nullptr;
}

bool SeatLayouts::connect(WaylandConnection::Clock::time_point deadline) {
    if (!connection_.connect(deadline)) return false;
    seat_ = connection_.bind<wl_seat>(wl_seat_interface, 1);
    if (seat_ == nullptr) return false;
    static constexpr wl_seat_listener listener{takeCapabilities, ignoreName};
    wl_seat_add_listener(seat_, &listener, this);
    return true;
}

bool SeatLayouts::listen(WaylandConnection::Clock::time_point deadline) {
    keyboard_ = wl_seat_get_keyboard(seat_);
    static constexpr wl_keyboard_listener listener{takeKeymap, ignoreEnter,     ignoreLeave,
                                                   ignoreKey,  ignoreModifiers, ignoreRepeat};
    if (keyboard_ != nullptr) wl_keyboard_add_listener(keyboard_, &listener, this);
    return keyboard_ != nullptr &&
           connection_.dispatchUntil([this] { return news_.has_value() || !hasKeyboard_; }, deadline);
}

void SeatLayouts::forgetKeyboard() {
    if (keyboard_ != nullptr) wl_keyboard_destroy(std::exchange(keyboard_, nullptr));
    news_.reset();
    keymap_.reset();
}

void SeatLayouts::disconnect() {
    forgetKeyboard();
    if (seat_ != nullptr) wl_seat_destroy(std::exchange(seat_, nullptr));
    hasKeyboard_ = false;
    connection_.disconnect();
}

void SeatLayouts::takeCapabilities(void* self, wl_seat* /*seat*/, std::uint32_t capabilities) {
    SeatLayouts& own = *static_cast<SeatLayouts*>(self);
    own.hasKeyboard_ = (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0;
    if (!own.hasKeyboard_) own.forgetKeyboard();
}

void SeatLayouts::takeKeymap(void* self, wl_keyboard* /*keyboard*/, std::uint32_t format,
                             std::int32_t descriptor, std::uint32_t size) {
    std::string& news = static_cast<SeatLayouts*>(self)->news_.emplace();
    const FileDescriptor file(descriptor);
    if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || size == 0 || size > maxKeymapSize) return;
    void* memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (memory == MAP_FAILED) return;
    news.assign(static_cast<const char*>(memory), size - 1);
    munmap(memory, size);
}

std::optional<SeatKeymap> SeatKeymap::parse(const std::string& text) {
    const std::unique_ptr<xkb_context, Unref> context(xkb_context_new(
        static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES | XKB_CONTEXT_NO_ENVIRONMENT_NAMES)));
    if (!context || text.empty()) return std::nullopt;
    xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
    SeatKeymap map;
    map.keymap_.reset(xkb_keymap_new_from_string(context.get(), text.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1,
                                                 XKB_KEYMAP_COMPILE_NO_FLAGS));
    return map.keymap_ ? std::optional(std::move(map)) : std::nullopt;
}

std::optional<SeatKeymap::Key> SeatKeymap::find(xkb_keysym_t keysym, xkb_layout_index_t layout,
                                                xkb_level_index_t levels) const {
    const xkb_keysym_t wanted = canonicalKeysym(keysym);
    const xkb_keycode_t last = std::min(xkb_keymap_max_keycode(keymap_.get()), lastOfX11);
    for (xkb_level_index_t level = 0; level < levels; ++level) {
        for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap_.get()); code <= last; ++code) {
            const xkb_keysym_t* keysyms = nullptr;
            const int count = xkb_keymap_key_get_syms_by_level(keymap_.get(), code, layout, level, &keysyms);
            if (count == 1 && canonicalKeysym(keysyms[0]) == wanted) return Key{code, level, keysyms[0]};
        }
    }
    return std::nullopt;
}

std::optional<xkb_keysym_t> SeatKeymap::findInAll(xkb_keysym_t keysym, xkb_level_index_t levels) const {
    std::optional<xkb_keysym_t> found;
    for (xkb_layout_index_t layout = 0; layout < layouts(); ++layout) {
        const auto key = find(keysym, layout, levels);
        if (!key || (found && *found != key->keysym) || !isReached(key->keysym, layout, levels))
            return std::nullopt;
        found = key->keysym;
    }
    return found;
}

bool SeatKeymap::isReached(xkb_keysym_t keysym, xkb_layout_index_t layout, xkb_level_index_t levels) const {
    const xkb_keycode_t last = xkb_keymap_max_keycode(keymap_.get());
    for (xkb_keycode_t code = xkb_keymap_min_keycode(keymap_.get()); code <= last; ++code) {
        const xkb_level_index_t count = xkb_keymap_num_levels_for_key(keymap_.get(), code, layout);
        for (xkb_level_index_t level = 0; level < count; ++level) {
            const xkb_keysym_t* keysyms = nullptr;
            const int found = xkb_keymap_key_get_syms_by_level(keymap_.get(), code, layout, level, &keysyms);
            if (std::find(keysyms, keysyms + std::max(found, 0), keysym) != keysyms + std::max(found, 0))
                return level < levels;
        }
    }
    return false;
}

std::optional<SeatKeymap::Stroke> SeatKeymap::stroke(xkb_keysym_t keysym, xkb_layout_index_t layout) const {
    const auto key = find(keysym, layout, allLevels);
    if (!key) return std::nullopt;
    Stroke stroke{key->code - xkbOffset, {}};
    xkb_mod_mask_t left = modifiersOf(*key, layout);
    for (const xkb_keysym_t each : levelKeys) {
        const auto modifier = find(each, layout, 1);
        const xkb_mod_mask_t bits = modifier ? modifiersPressedBy(modifier->code) : 0;
        if (bits == 0 || (left & bits) != bits) continue;
        stroke.modifierKeys.push_back(modifier->code - xkbOffset);
        left &= ~bits;
    }
    return left == 0 ? std::optional(std::move(stroke)) : std::nullopt;
}

xkb_mod_mask_t SeatKeymap::modifiersOf(const Key& key, xkb_layout_index_t layout) const {
    std::array<xkb_mod_mask_t, 16> masks{};
    const std::size_t count = xkb_keymap_key_get_mods_for_level(keymap_.get(), key.code, layout, key.level,
                                                                masks.data(), masks.size());
    return count == 0 ? 0 : masks[0];
}

xkb_mod_mask_t SeatKeymap::modifiersPressedBy(xkb_keycode_t key) const {
    const std::unique_ptr<xkb_state, Unref> state(xkb_state_new(keymap_.get()));
    if (!state) return 0;
    xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    return xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED);
}

}  // namespace varkel
