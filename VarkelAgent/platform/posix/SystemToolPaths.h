#pragma once

#include <string>

#include "platform/ToolPaths.h"

namespace varkel {

/// The tools at their fixed system paths where an executable stands there, otherwise the program of the same
/// name next to the agent's own executable (as it is built) or in lib/varkel-agent beside the folder of the
/// executable (as it is installed).
class SystemToolPaths : public ToolPaths {
  public:
    /// `agentDirectory`: the folder that holds the agent's executable, without a slash at the end.
    explicit SystemToolPaths(std::string agentDirectory);

    std::string osascript() override;
    std::string shortcuts() override;
    std::string launchctl() override;

  private:
    std::string choose(const char* fixedPath) const;

    std::string agentDirectory_;
};

/// The folder of the running executable, or "." when the system does not tell.
std::string executableDirectory();

}  // namespace varkel
