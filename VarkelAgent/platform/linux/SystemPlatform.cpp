#include <chrono>
#include <memory>
#include <utility>

#include "platform/Memory.h"
#include "platform/Platform.h"
#include "platform/linux/LinuxPermissions.h"
#include "platform/linux/apps/LinuxWorkspace.h"
#include "platform/linux/atspi/LinuxAccessibility.h"
#include "platform/linux/session/Session.h"
#include "platform/linux/vision/VisionLoader.h"
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
    // Shared by several members of the platform; they live as long as the process.
    static AtspiBus bus;
    Session session = openSession(bus);
    static const std::unique_ptr<WindowSystem> windows = std::move(session.windows);
    Platform platform;
    platform.eventPoster = std::move(session.events);
    platform.accessibility = std::make_unique<LinuxAccessibility>(
        bus, *platform.eventPoster, [](pid_t process) { return windows->screenWindowsOf(process); });
    platform.workspace = std::make_unique<LinuxWorkspace>(bus, *windows);
    platform.toolPaths = std::make_unique<SystemToolPaths>(executableDirectory());
    platform.clock = std::make_unique<SystemClock>();
    platform.vision = std::make_unique<VisionLoader>();
    platform.permissions = std::make_unique<LinuxPermissions>(bus, *windows);
    return platform;
}

}  // namespace varkel
