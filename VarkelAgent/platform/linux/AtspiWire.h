#pragma once

#include <systemd/sd-bus.h>

#include <optional>

#include "platform/linux/AtspiRoles.h"

namespace varkel {

inline constexpr const char* atspiAccessible = "org.a11y.atspi.Accessible";
inline constexpr const char* dbusProperties = "org.freedesktop.DBus.Properties";

/// Reads a state set from where a message stands; nothing when something else stands there.
std::optional<AtspiStates> readAtspiStates(sd_bus_message* message);

}  // namespace varkel
