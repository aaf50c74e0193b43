#include "platform/linux/input/Autorepeat.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "platform/linux/x11/XkbProtocol.h"

namespace varkel {

bool setAutorepeat(X11Connection::Session& session, std::span<const xcb_keycode_t> keys, bool repeats) {
    const XcbPtr<xcb_xkb_get_controls_reply_t> controls(xcb_xkb_get_controls_reply(
        session.get(), xcb_xkb_get_controls(session.get(), XCB_XKB_ID_USE_CORE_KBD), nullptr));
    if (!controls) return false;
    std::array<std::uint8_t, 32> bits{};
    std::copy_n(controls->perKeyRepeat, bits.size(), bits.begin());
    const auto before = bits;
    for (const xcb_keycode_t key : keys) {
        const auto bit = static_cast<std::uint8_t>(1U << (key % 8));
        auto& byte = bits[key / 8];
        byte = static_cast<std::uint8_t>(repeats ? byte | bit : byte & ~bit);
    }
    if (bits == before) return false;
    xcb_xkb_set_controls(session.get(), XCB_XKB_ID_USE_CORE_KBD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                         XCB_XKB_CONTROL_PER_KEY_REPEAT, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                         bits.data());
    return true;
}

}  // namespace varkel
