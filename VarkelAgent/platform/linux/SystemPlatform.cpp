#include <malloc.h>

#include <chrono>

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

/// Large blocks go back to the system when they are freed, and the threads share a few heaps. Left to itself,
/// the allocator takes the first large blocks for a sign of more, and each thread that has held a child's
/// long output keeps tens of megabytes; and it makes eight heaps per core, each of which grows to the most
/// that was ever needed in it at once.
void keepMemorySmall() {
#ifdef __GLIBC__
    constexpr int large = 4 << 20;
    constexpr int heaps = 4;
    mallopt(M_ARENA_MAX, heaps);
    mallopt(M_MMAP_THRESHOLD, large);
    mallopt(M_TRIM_THRESHOLD, 2 * large);
#endif
}

}  // namespace

void releaseFreeMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

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
