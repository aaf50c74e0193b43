#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>

#include "platform/linux/atspi/AtspiBus.h"

namespace varkel {

/// The process of the application one of whose windows is in the active state, for desktops whose window
/// manager does not say. Asks every application, those that do not answer within `limit` are passed over. Any
/// thread.
std::optional<pid_t> findActiveApplication(AtspiBus& bus, std::chrono::milliseconds limit);

}  // namespace varkel
