#include "base/Environment.h"
#include "platform/Screen.h"
#include "platform/linux/screen/WaylandScreen.h"
#include "platform/linux/screen/X11Screen.h"

namespace varkel {

std::unique_ptr<Screen> makeSystemScreen() {
    return environment().contains("WAYLAND_DISPLAY") ? makeWaylandScreen() : makeX11Screen();
}

}  // namespace varkel
