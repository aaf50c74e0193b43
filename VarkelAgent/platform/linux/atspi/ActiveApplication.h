#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/atspi/AtspiBus.h"

namespace varkel {

/// A window of an application, as the accessibility bus has it.
struct AccessibleTopLevel {
    pid_t process = 0;
    AtspiReference window;
    std::string title;
    bool active = false;
    bool showing = false;
};

/// The windows of all applications. Those that do not answer within `limit` are passed over. Any thread.
std::vector<AccessibleTopLevel> findTopLevels(AtspiBus& bus, std::chrono::milliseconds limit);

/// The one of them that says that it is active, one that is shown first: programs leave hidden ones active.
const AccessibleTopLevel* activeAmong(const std::vector<AccessibleTopLevel>& windows);

/// Whether a window says that it is active; one that is gone does not. Nothing when it does not answer. Any
/// thread.
std::optional<bool> isTopLevelActive(AtspiBus& bus, const AtspiReference& window,
                                     std::chrono::milliseconds limit);

/// The process of the application one of whose windows is in the active state, for desktops whose window
/// manager does not say. Asks every application, those that do not answer within `limit` are passed over. Any
/// thread.
std::optional<pid_t> findActiveApplication(AtspiBus& bus, std::chrono::milliseconds limit);

}  // namespace varkel
