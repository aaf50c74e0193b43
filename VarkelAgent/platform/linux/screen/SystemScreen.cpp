#include <screencopy-v1-client.h>

#include <chrono>

#include "base/Environment.h"
#include "platform/Screen.h"
#include "platform/linux/screen/PortalScreen.h"
#include "platform/linux/screen/WaylandScreen.h"
#include "platform/linux/screen/X11Screen.h"
#include "platform/linux/wayland/WaylandConnection.h"

namespace varkel {

namespace {

constexpr std::chrono::milliseconds greetingLimit{2000};

/// Of a Wayland session: by the compositor where it hands images out, otherwise by the desktop's portal.
class SessionScreen : public Screen {
  public:
    ScreenImage capture(std::optional<ScreenArea> area) override {
        WaylandConnection connection;
        const bool answers = connection.connect(std::chrono::steady_clock::now() + greetingLimit);
        const bool gives = connection.offers(zwlr_screencopy_manager_v1_interface.name);
        connection.disconnect();
        return (answers && !gives ? portal_ : compositor_)->capture(area);
    }

  private:
    const std::unique_ptr<Screen> compositor_ = makeWaylandScreen();
    const std::unique_ptr<Screen> portal_ = makePortalScreen();
};

}  // namespace

std::unique_ptr<Screen> makeSystemScreen() {
    if (environment().contains("WAYLAND_DISPLAY")) return std::make_unique<SessionScreen>();
    return makeX11Screen();
}

}  // namespace varkel
