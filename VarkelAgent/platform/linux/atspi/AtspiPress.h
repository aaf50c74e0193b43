#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "platform/linux/atspi/AtspiRoles.h"

namespace varkel {

/// Whether an element of this role may have an action that does what a person's click on it does. Text fields
/// do not: their action is the Enter key, while a click puts the caret there.
bool mayBePressed(AtspiRole role);

/// Which of the actions that an element offers does what a person's click on it does; nothing when none does,
/// so that only a click does. Names count in any letter case.
std::optional<std::size_t> pressAction(AtspiRole role, std::span<const std::string> offered);

}  // namespace varkel
