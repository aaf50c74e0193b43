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

/// The child wrote more than it was allowed to. It has been killed. what() says so in words.
class OutputLimitError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What to run and how.
struct ChildCommand {
    static constexpr std::size_t defaultOutputLimit = std::size_t{256} << 20;

    /// Path of the program; no search along PATH.
    std::string executable;
    /// Without the program's own name. None may hold a zero byte: it would end the argument there, so the
    /// launch fails.
    std::vector<std::string> arguments;
    /// Written to the child's standard input, which is then closed; without it the child reads an empty
    /// input.
    std::optional<std::string> input;
    /// Where standard output and standard error go.
    enum class Output { capture, inherit, discard };
    Output output = Output::capture;
    /// How many bytes of each output are kept at the most; a child that writes on for ever must not take this
    /// process's memory.
    std::size_t outputLimit = defaultOutputLimit;
    /// Whether the child leads a process group of its own, or stays in this process's and is stopped along
    /// with it.
    enum class Group { own, inherited };
    Group group = Group::own;
    /// Where the child starts; empty keeps this process's directory. A directory that is not there fails the
    /// launch.
    std::string workingDirectory;
    /// Puts the child in a session of its own, away from this process's terminal.
    bool newSession = false;
};

/// How a child ended and what it wrote.
struct ChildResult {
    /// The system did not tell the status: something else in this process has reaped the child, or SIGCHLD is
    /// ignored.
    static constexpr int unknownStatus = -1;

    /// The exit status, or the number of the signal that ended the child.
    int status = 0;
    bool signalled = false;
    std::string standardOutput;
    std::string standardError;
};

/// A running child process. One thread at a time.
///
/// The child gets its three standard descriptors and no other of this process, default signal dispositions
/// and an empty signal mask. Its outputs are drained while this process waits, so neither side can stall,
/// whatever the sizes. They are read to their ends, also beyond the child's own: a descendant that keeps a
/// pipe open is waited for, for 5 seconds at the most.
class ChildProcess {
  public:
    using Clock = std::chrono::steady_clock;

    /// Starts the program. Throws LaunchError. No fork: safe in a process with many threads.
    explicit ChildProcess(ChildCommand command);

    ChildProcess(ChildProcess&&) noexcept;
    ChildProcess& operator=(ChildProcess&&) noexcept;

    /// A child that has not been waited for to its end is killed with its whole group, and reaped.
    ~ChildProcess();

    pid_t processIdentifier() const;

    /// Feeds and drains until the child has ended or the deadline has passed; without one, until the child
    /// has ended. A child that has ended in time has its outputs read to their ends, past the deadline if
    /// need be. The result, or nothing when the deadline came first. After a result, the same again at once.
    /// Throws OutputLimitError.
    std::optional<ChildResult> wait(std::optional<Clock::time_point> deadline = std::nullopt);

    /// Stops the child and what it has started: asks the whole group to terminate, and kills after `grace`
    /// who is left of it. The group has all of that time, also when the child itself goes at once. Returns
    /// when the child has been reaped. The child is reached in whatever group it is, a descendant only in the
    /// one that the child was started in.
    void stop(std::chrono::milliseconds grace);

    /// Sends a signal to the child and to the process group that it was started in, when that is its own;
    /// does nothing once the child has been reaped.
    void signalGroup(int signal);

    /// Sends a signal to the child alone; does nothing once the child has been reaped.
    void signal(int signal);

    /// Gives the child up to run on by itself; it is reaped in the background when it ends. Captured outputs
    /// are closed. The object is empty afterwards.
    void detach();

  private:
    struct Running;
    std::unique_ptr<Running> running_;
};

/// Starts a program and waits for its end, without a time limit. Throws LaunchError and OutputLimitError.
/// Blocks.
ChildResult runChild(ChildCommand command);

}  // namespace varkel
