#pragma once

#include <string>
#include <utility>

#include "platform/ToolPaths.h"

namespace varkel::test {

/// One program in the place of every tool.
class FakeToolPaths : public ToolPaths {
  public:
    explicit FakeToolPaths(std::string path) : path_(std::move(path)) {}
    std::string osascript() override { return path_; }
    std::string shortcuts() override { return path_; }
    std::string launchctl() override { return path_; }

  private:
    const std::string path_;
};

}  // namespace varkel::test
