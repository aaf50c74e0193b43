#include <chrono>

#include "platform/Memory.h"
#include "platform/Platform.h"
#include "platform/linux/LinuxPermissions.h"
#include "platform/linux/apps/LinuxWorkspace.h"
#include "platform/linux/atspi/LinuxAccessibility.h"
#include "platform/linux/input/X11EventPoster.h"
#include "platform/linux/vision/VisionLoader.h"
#include "platform/linux/x11/ScreenWindows.h"
#include "platform/posix/SystemToolPaths.h"

namespace varkel {

namespace {

class SystemClock : public Clock {
  public:
    double timeIntervalSince1970() override {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    }
};

}  // namespace

Platform makeSystemPlatform() {
    keepMemorySmall();
    // Shared by what reads trees and what finds the application in front; both live as long as the process.
    static AtspiBus bus;
    static X11Connection screen;
    Platform platform;
    platform.eventPoster = std::make_unique<X11EventPoster>();
    platform.accessibility = std::make_unique<LinuxAccessibility>(
        bus, *platform.eventPoster, [](pid_t process) { return screenWindowsOf(screen, process); });
    platform.workspace = std::make_unique<LinuxWorkspace>(bus);
    platform.toolPaths = std::make_unique<SystemToolPaths>(executableDirectory());
    platform.clock = std::make_unique<SystemClock>();
    platform.vision = std::make_unique<VisionLoader>();
    platform.permissions = std::make_unique<LinuxPermissions>(bus);
    return platform;
}

}  // namespace varkel
