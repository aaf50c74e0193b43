#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "base/Task.h"

namespace varkel {

/// Suspends the calling task for a while.
using Sleeper = std::function<Task<void>(std::chrono::nanoseconds)>;

struct ActivationOutcome {
    bool ok = false;
    /// The identifier that was activated, when one was given.
    std::optional<std::string> resolvedBundle;
};

/// Brings an application to the front: the one with the bundle identifier, launched when it is not running,
/// or else the one with the name; with neither, whatever is in front stays there.
Task<ActivationOutcome> activateApp(std::optional<std::string> bundleId, std::optional<std::string> appName,
                                    Sleeper sleep);

}  // namespace varkel
