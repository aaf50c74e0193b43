#pragma once

#include <systemd/sd-bus.h>

#include <optional>

#include "platform/linux/atspi/AtspiRoles.h"

namespace varkel {

/// Reads a state set from where a message stands; nothing when something else stands there.
std::optional<AtspiStates> readAtspiStates(sd_bus_message* message);

}  // namespace varkel
