#include "platform/Platform.h"

#include <utility>

namespace varkel {

namespace {

Platform& installed() {
    static Platform platform;
    return platform;
}

}  // namespace

Platform& Platform::current() {
    return installed();
}

void Platform::install(Platform platform) {
    installed() = std::move(platform);
}

std::optional<pid_t> frontmostApplicationPid() {
    return Platform::current().workspace->frontmostApplication();
}

}  // namespace varkel
