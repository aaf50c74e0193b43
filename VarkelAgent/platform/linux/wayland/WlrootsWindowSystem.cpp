#include "platform/linux/wayland/WlrootsWindowSystem.h"

#include <chrono>

#include "platform/linux/wayland/Screencopy.h"

namespace varkel {

namespace {

constexpr std::chrono::milliseconds patience{1000};

}  // namespace

bool WlrootsWindowSystem::isScreenReadable() {
    return isScreencopyOffered(std::chrono::steady_clock::now() + patience);
}

std::vector<std::string> WlrootsWindowSystem::describeSession() {
    return {
        "session=Wayland",
        "hint_windows=This compositor is asked nothing about windows: only the one in front is typed into, "
        "and elements are worked by their own actions. In a session of sway, start the agent from within "
        "it, so that SWAYSOCK names sway's socket"};
}

}  // namespace varkel
