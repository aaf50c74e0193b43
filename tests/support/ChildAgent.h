#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "base/FileDescriptor.h"

namespace varkel::test {

/// The built agent as a child process with an environment of its own. Killed at the end of the scope.
class ChildAgent {
  public:
    explicit ChildAgent(const std::vector<std::string>& arguments, std::vector<std::string> environment = {});
    ChildAgent(const ChildAgent&) = delete;
    ChildAgent& operator=(const ChildAgent&) = delete;
    ~ChildAgent();

    /// The next line of the standard output without its end; nothing when the output has ended.
    std::optional<std::string> readLine();

    /// The rest of the standard output, up to its end.
    std::string readAll();

    /// Waits for the end; the exit status, or -1 when a signal was the cause.
    int wait();

    bool isRunning();

    /// Lets the agent have no more than `count` file descriptors from now on.
    void limitDescriptors(unsigned count);

  private:
    bool fill();

    FileDescriptor output_;
    pid_t pid_ = -1;
    std::string received_;
};

}  // namespace varkel::test
