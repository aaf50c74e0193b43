#pragma once

#include <memory>

#include "platform/EventPoster.h"
#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// The desktop session that this process belongs to. No member is null.
struct Session {
    std::unique_ptr<WindowSystem> windows;
    std::unique_ptr<EventPoster> events;
};

/// The session that the environment names. What it is is found out once, here; the rest connects on first
/// use. `bus` outlives what is given.
Session openSession(AtspiBus& bus);

}  // namespace varkel
