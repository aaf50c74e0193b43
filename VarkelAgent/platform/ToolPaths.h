#pragma once

#include <string>

namespace varkel {

/// Where the system's tools are that the agent runs as child processes. Asked at each use, so that a tool
/// installed later is found. A path may name nothing: starting it then fails like any missing program.
/// Any thread.
class ToolPaths {
  public:
    virtual ~ToolPaths() = default;

    virtual std::string osascript() = 0;
    virtual std::string shortcuts() = 0;
    virtual std::string launchctl() = 0;
};

}  // namespace varkel
