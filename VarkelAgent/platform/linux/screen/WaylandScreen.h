#pragma once

#include <memory>

#include "platform/Screen.h"

namespace varkel {

/// The outputs of the compositor that WAYLAND_DISPLAY names, each in the compositor's own units: an output
/// with a scale loses detail. Connects with the first image.
std::unique_ptr<Screen> makeWaylandScreen();

}  // namespace varkel
