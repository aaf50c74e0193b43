#pragma once

#include <xcb/xcb.h>

#include <span>

#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// Turns autorepeat of keys on or off. True when that changed anything. (The core protocol's
/// request for this would also mark the keys in the server's map for good.)
bool setAutorepeat(X11Connection::Session& session, std::span<const xcb_keycode_t> keys, bool repeats);

}  // namespace varkel
