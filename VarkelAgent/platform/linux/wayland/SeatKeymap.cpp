#include "platform/linux/wayland/SeatKeymap.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>

#include "base/FileDescriptor.h"
#include "platform/linux/input/Keysyms.h"
#include "platform/linux/wayland/WaylandConnection.h"

namespace varkel {

namespace {

/// The largest that systems have are a tenth of it.
constexpr std::uint32_t maxKeymapSize = 1 << 20;

/// X11 programs, which may be in front, know no more keys.
constexpr xkb_keycode_t lastOfX11 = 255;

/// What the compositor has told.
struct SeatNews {
    bool hasKeyboard = false;
    bool keymapCame = false;
    std::string keymap;
};

void takeCapabilities(void* news, wl_seat* /*seat*/, std::uint32_t capabilities) {
    static_cast<SeatNews*>(news)->hasKeyboard = (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0;
}

void takeKeymap(void* data, wl_keyboard* /*keyboard*/, std::uint32_t format, std::int32_t descriptor,
                std::uint32_t size) {
    auto& news = *static_cast<SeatNews*>(data);
    const FileDescriptor file(descriptor);
    news.keymapCame = true;
    if (format != WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 || size == 0 || size > maxKeymapSize) return;
    void* memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (memory == MAP_FAILED) return;
    news.keymap.assign(static_cast<const char*>(memory), size - 1);
    munmap(memory, size);
}

void ignoreEnter(void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {}
void ignoreLeave(void*, wl_keyboard*, std::uint32_t, wl_surface*) {}
void ignoreKey(void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {}
void ignoreModifiers(void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
                     std::uint32_t) {}
void ignoreRepeat(void*, wl_keyboard*, std::int32_t, std::int32_t) {}
void ignoreName(void*, wl_seat*, const char*) {}

std::string askForKeymap(Deadline deadline) {
    const auto until = std::chrono::steady_clock::now() + deadline.left();
    WaylandConnection connection;
    if (!connection.connect(until)) return {};
    SeatNews news;
    const WaylandPtr<wl_seat, wl_seat_destroy> seat(connection.bind<wl_seat>(wl_seat_interface, 1));
    if (!seat) return {};
    static constexpr wl_seat_listener seatListener{takeCapabilities, ignoreName};
    wl_seat_add_listener(seat.get(), &seatListener, &news);
    if (!connection.synchronise(until) || !news.hasKeyboard) return {};
    const WaylandPtr<wl_keyboard, wl_keyboard_destroy> keyboard(wl_seat_get_keyboard(seat.get()));
    if (!keyboard) return {};
    static constexpr wl_keyboard_listener keyboardListener{takeKeymap, ignoreEnter,     ignoreLeave,
                                                           ignoreKey,  ignoreModifiers, ignoreRepeat};
    wl_keyboard_add_listener(keyboard.get(), &keyboardListener, &news);
    connection.dispatchUntil([&news] { return news.keymapCame; }, until);
    return news.keymap;
}

}  // namespace

std::optional<SeatKeymap> SeatKeymap::ask(Deadline deadline) {
    return parse(askForKeymap(deadline));
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
        if (!key || (found && *found != key->keysym)) return std::nullopt;
        found = key->keysym;
    }
    return found;
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
