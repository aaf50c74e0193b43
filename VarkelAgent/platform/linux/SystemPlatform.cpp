#include <chrono>

#include "platform/Platform.h"
#include "platform/linux/LinuxAccessibility.h"
#include "platform/linux/LinuxPermissions.h"
#include "platform/linux/LinuxWorkspace.h"
#include "platform/linux/VisionLoader.h"
#include "platform/linux/X11EventPoster.h"
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
    // Shared by what reads trees and what finds the application in front; lives as long as the process.
    static AtspiBus bus;
    Platform platform;
    platform.eventPoster = std::make_unique<X11EventPoster>();
    platform.accessibility = std::make_unique<LinuxAccessibility>(bus, *platform.eventPoster);
    platform.workspace = std::make_unique<LinuxWorkspace>(bus);
    platform.toolPaths = std::make_unique<SystemToolPaths>(executableDirectory());
    platform.clock = std::make_unique<SystemClock>();
    platform.vision = std::make_unique<VisionLoader>();
    platform.permissions = std::make_unique<LinuxPermissions>(bus);
    return platform;
}

}  // namespace varkel
