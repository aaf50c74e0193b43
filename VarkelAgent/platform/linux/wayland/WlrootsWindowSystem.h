#pragma once

#include <string>
#include <vector>

#include "platform/linux/wayland/AccessibleWindowSystem.h"

namespace varkel {

/// The windows of a compositor that lends a keyboard and a pointer, but neither lists windows nor has a
/// socket of sway's: what the accessibility bus knows. No window is brought to the front.
class WlrootsWindowSystem : public AccessibleWindowSystem {
  public:
    using AccessibleWindowSystem::AccessibleWindowSystem;

    bool isScreenReadable() override;
    std::vector<std::string> describeSession() override;
};

}  // namespace varkel
