#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "platform/Accessibility.h"
#include "platform/Clock.h"
#include "platform/EventPoster.h"
#include "platform/Permissions.h"
#include "platform/ToolPaths.h"
#include "platform/Vision.h"
#include "platform/Workspace.h"

namespace varkel {

/// The desktop that the agent works on, one member per concern. No member is null.
struct Platform {
    std::unique_ptr<Accessibility> accessibility;
    std::unique_ptr<Workspace> workspace;
    std::unique_ptr<Clock> clock;
    std::unique_ptr<Vision> vision;
    std::unique_ptr<EventPoster> eventPoster;
    std::unique_ptr<ToolPaths> toolPaths;
    std::unique_ptr<Permissions> permissions;

    /// The desktop in use. Any thread; undefined before install().
    static Platform& current();

    /// Puts a desktop in use. Called once at start-up, before any other thread exists (tests: between cases,
    /// with no request under way).
    static void install(Platform platform);
};

/// The backend of the system that this binary was built for. Cheap: connections are made on first use.
Platform makeSystemPlatform();

/// The process of the application that receives key events, or nothing. Never cached. Blocks within the
/// backend's deadline; any thread.
std::optional<pid_t> frontmostApplicationPid();

/// The path of the running executable, or nothing when the system does not tell. Any thread.
std::optional<std::string> executablePath();

}  // namespace varkel
