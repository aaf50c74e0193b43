#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace varkel {

/// The program could not be started. what() is the system's own description.
class LaunchError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What to run and how.
struct ChildCommand {
    /// Path of the program; no search along PATH.
    std::string executable;
    /// Without the program's own name.
    std::vector<std::string> arguments;
    /// Written to the child's standard input, which is then closed; without it the child reads an empty
    /// input.
    std::optional<std::string> input;
    /// Where standard output and standard error go.
    enum class Output { capture, inherit, discard };
    Output output = Output::capture;
    /// Where the child starts; empty keeps this process's directory. A directory that is not there fails the
    /// launch.
    std::string workingDirectory;
    /// Puts the child in a session of its own, away from this process's terminal.
    bool newSession = false;
};

/// How a child ended and what it wrote.
struct ChildResult {
    /// The exit status, or the number of the signal that ended the child.
    int status = 0;
    bool signalled = false;
    std::string standardOutput;
    std::string standardError;
};

/// A running child process, in a process group of its own. One thread at a time.
///
/// The child gets its three standard descriptors and no other of this process, default signal dispositions
/// and an empty signal mask. Its outputs are drained while this process waits, so neither side can stall,
/// whatever the sizes. What counts as output is what had been written when the child itself ended: a
/// grandchild that keeps a pipe open is not waited for.
class ChildProcess {
  public:
    using Clock = std::chrono::steady_clock;

    /// Starts the program. Raises LaunchError. No fork: safe in a process with many threads.
    explicit ChildProcess(ChildCommand command);

    ChildProcess(ChildProcess&&) noexcept;
    ChildProcess& operator=(ChildProcess&&) noexcept;

    /// A child that is still running is killed with its whole group, and reaped.
    ~ChildProcess();

    pid_t processIdentifier() const;

    /// Feeds and drains until the child has ended or the deadline has passed; without one, until the child
    /// has ended. The result, or nothing when the deadline came first. After a result, the same again at
    /// once.
    std::optional<ChildResult> wait(std::optional<Clock::time_point> deadline = std::nullopt);

    /// Sends a signal to the child's process group; to nobody once the child has been reaped.
    void signalGroup(int signal);

    /// Sends a signal to the child alone; to nobody once the child has been reaped.
    void signal(int signal);

    /// Gives the child up to run on by itself; it is reaped in the background when it ends. Captured outputs
    /// are closed. The object is empty afterwards.
    void detach();

  private:
    struct Running;
    std::unique_ptr<Running> running_;
};

/// Starts a program and waits for its end, without a time limit. Raises LaunchError. Blocks.
ChildResult runChild(ChildCommand command);

}  // namespace varkel
