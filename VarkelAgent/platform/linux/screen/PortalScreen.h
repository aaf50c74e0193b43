#pragma once

#include <memory>

#include "platform/Screen.h"

namespace varkel {

/// Images by the desktop's portal, which may ask the person first. Connects with the first image.
std::unique_ptr<Screen> makePortalScreen();

}  // namespace varkel
