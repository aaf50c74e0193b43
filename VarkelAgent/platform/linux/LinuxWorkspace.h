#pragma once

#include "platform/Workspace.h"
#include "platform/linux/AtspiBus.h"
#include "platform/linux/FrontmostWatcher.h"

namespace varkel {

/// The window manager's view of the desktop, with the accessibility bus where there is no window manager.
class LinuxWorkspace : public Workspace {
  public:
    explicit LinuxWorkspace(AtspiBus& bus) : bus_(bus) {}

    ThreadRule threadRule() const override { return ThreadRule::any; }
    std::optional<pid_t> frontmostApplication() override;
    std::optional<std::optional<pid_t>> frontmostApplicationIfKnown() override;

  private:
    AtspiBus& bus_;
    FrontmostWatcher watcher_;
};

}  // namespace varkel
