#include "platform/linux/apps/LinuxWorkspace.h"

#include "platform/linux/atspi/ActiveApplication.h"

namespace varkel {

namespace {

constexpr std::chrono::milliseconds askLimit{1000};

}  // namespace

std::optional<pid_t> LinuxWorkspace::frontmostApplication() {
    if (const auto pid = windows_.frontmostProcess(askLimit)) return pid;
    return findActiveApplication(bus_, askLimit);
}

std::optional<std::optional<pid_t>> LinuxWorkspace::frontmostApplicationIfKnown() {
    std::optional<std::optional<pid_t>> known;
    if (const auto pid = windows_.frontmostProcessIfKnown()) known.emplace(pid);
    return known;
}

}  // namespace varkel
