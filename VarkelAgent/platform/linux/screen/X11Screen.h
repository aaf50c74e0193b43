#pragma once

#include <memory>

#include "platform/Screen.h"

namespace varkel {

/// The screen of the X server that DISPLAY names. Connects with the first image.
std::unique_ptr<Screen> makeX11Screen();

}  // namespace varkel
