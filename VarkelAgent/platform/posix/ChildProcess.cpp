#include "platform/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/syscall.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <thread>
#include <utility>

#include "base/FileDescriptor.h"
#include "platform/posix/ChildReaper.h"
#include "platform/posix/SpawnChild.h"

namespace varkel {

namespace {

/// How much is read before the other descriptors and the deadline get their turn.
constexpr std::size_t drainAtOnce = 1 << 20;

/// How long an output is read after the child's end: a daemon that it has left behind may keep a pipe for
/// good.
constexpr std::chrono::seconds leftoverPatience{5};

/// How often the child's end is looked for where the system has no descriptor that tells it.
constexpr std::chrono::milliseconds exitPollInterval{10};

void makeNonBlocking(const FileDescriptor& fd) {
    fcntl(fd.get(), F_SETFL, fcntl(fd.get(), F_GETFL) | O_NONBLOCK);
}

/// Keeps a write to a closed pipe from raising SIGPIPE in this thread, whatever the process's disposition.
class SIGPIPEGuard {
  public:
    SIGPIPEGuard() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    SIGPIPEGuard(const SIGPIPEGuard&) = delete;
    SIGPIPEGuard& operator=(const SIGPIPEGuard&) = delete;
    ~SIGPIPEGuard() {
        const timespec now{};
        if (!wasPending_) {
            while (sigtimedwait(&pipe_, nullptr, &now) < 0 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    sigset_t pipe_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

FileDescriptor exitDescriptor(pid_t child) {
#if defined(__linux__) && defined(SYS_pidfd_open)
    return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
#else
    (void)child;
    return {};
#endif
}

bool wouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

/// Reads at most `limit` bytes of what is there now; closes the descriptor at the end of the stream or on an
/// error. The limit keeps a writer that never pauses from holding the reader.
void drain(FileDescriptor& from, std::string& into, std::size_t limit) {
    std::array<char, 65536> buffer;
    while (from && limit > 0) {
        const ssize_t count = read(from.get(), buffer.data(), std::min(buffer.size(), limit));
        if (count > 0) {
            into.append(buffer.data(), static_cast<std::size_t>(count));
            limit -= static_cast<std::size_t>(count);
        } else if (count == 0 || !(errno == EINTR || wouldBlock(errno))) {
            from.reset();
        } else if (wouldBlock(errno)) {
            return;
        }
    }
}

std::optional<int> pollTimeout(std::optional<ChildProcess::Clock::time_point> deadline, bool mustLook) {
    std::optional<std::chrono::milliseconds> left;
    if (deadline) {
        left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - ChildProcess::Clock::now());
        if (left->count() <= 0) return std::nullopt;
    }
    if (mustLook) left = left ? std::min(*left, exitPollInterval) : exitPollInterval;
    if (!left) return -1;
    return static_cast<int>(std::min<std::int64_t>(left->count(), INT_MAX));
}

}  // namespace

struct ChildProcess::Running {
    pid_t pid = -1;
    bool leadsGroup = true;
    std::size_t outputLimit = 0;
    bool reaped = false;
    /// Set when the child has ended: how long what it has left behind is read.
    std::optional<ChildProcess::Clock::time_point> readUntil;
    FileDescriptor exit;
    FileDescriptor input;
    FileDescriptor output;
    FileDescriptor error;
    std::string pendingInput;
    std::size_t written = 0;
    ChildResult result;

    void start(const ChildCommand& command);
    void feed();
    void pollOnce(int timeout);
    bool hasEnded() const;
    void noticeEnd();
    bool isComplete() const;
    bool isOverLimit() const;
    void signal(int number) const;
    void reap();
};

void ChildProcess::Running::start(const ChildCommand& command) {
    leadsGroup = command.newSession || command.group == ChildCommand::Group::own;
    outputLimit = command.outputLimit;
    SpawnedChild child = spawnChild(command);
    pid = child.pid;
    exit = exitDescriptor(pid);
    input = std::move(child.input);
    output = std::move(child.output);
    error = std::move(child.error);
    for (const FileDescriptor* end : {&input, &output, &error}) {
        if (*end) makeNonBlocking(*end);
    }
}

void ChildProcess::Running::feed() {
    const SIGPIPEGuard guard;
    while (input) {
        if (written == pendingInput.size()) {
            input.reset();
            return;
        }
        const ssize_t count =
            write(input.get(), pendingInput.data() + written, pendingInput.size() - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (wouldBlock(errno)) {
            return;
        } else if (errno != EINTR) {
            // The child does not want the rest. That is its right; how it ends tells what it thinks of it.
            input.reset();
        }
    }
}

void ChildProcess::Running::pollOnce(int timeout) {
    // Descriptors of -1 are skipped by poll().
    std::array<pollfd, 4> watched{pollfd{input.get(), POLLOUT, 0}, pollfd{output.get(), POLLIN, 0},
                                  pollfd{error.get(), POLLIN, 0}, pollfd{exit.get(), POLLIN, 0}};
    if (poll(watched.data(), watched.size(), timeout) < 0) return;
    if (watched[0].revents != 0) feed();
    if (watched[1].revents != 0) drain(output, result.standardOutput, drainAtOnce);
    if (watched[2].revents != 0) drain(error, result.standardError, drainAtOnce);
}

bool ChildProcess::Running::hasEnded() const {
    siginfo_t info{};
    for (;;) {
        // WNOWAIT leaves the process id taken, so that a signal sent meanwhile cannot hit another process.
        if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0)
            return info.si_pid == pid;
        if (errno != EINTR) return true;
    }
}

void ChildProcess::Running::noticeEnd() {
    if (readUntil || !hasEnded()) return;
    readUntil = ChildProcess::Clock::now() + leftoverPatience;
    // It would end every poll at once from now on.
    exit.reset();
}

/// Whether the child has ended and nothing more of its output is waited for.
bool ChildProcess::Running::isComplete() const {
    if (!readUntil) return false;
    return (!output && !error) || ChildProcess::Clock::now() >= *readUntil;
}

bool ChildProcess::Running::isOverLimit() const {
    return std::max(result.standardOutput.size(), result.standardError.size()) > outputLimit;
}

/// Reaches the child and its group. The child may have left the group that it was started in.
void ChildProcess::Running::signal(int number) const {
    if (leadsGroup) kill(-pid, number);
    const bool wasReached = leadsGroup && number != SIGKILL && getpgid(pid) == pid;
    if (!wasReached) kill(pid, number);
}

void ChildProcess::Running::reap() {
    int status = 0;
    pid_t ended = 0;
    do {
        ended = waitpid(pid, &status, 0);
    } while (ended < 0 && errno == EINTR);
    reaped = true;
    if (ended < 0) {
        result.status = ChildResult::unknownStatus;
        return;
    }
    result.signalled = WIFSIGNALED(status);
    result.status = result.signalled ? WTERMSIG(status) : WEXITSTATUS(status);
}

ChildProcess::ChildProcess(ChildCommand command) : running_(std::make_unique<Running>()) {
    running_->pendingInput = std::move(command.input).value_or(std::string());
    if (command.input) command.input->clear();
    running_->start(command);
}

ChildProcess::ChildProcess(ChildProcess&&) noexcept = default;

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    std::swap(running_, other.running_);
    return *this;
}

ChildProcess::~ChildProcess() {
    if (!running_ || running_->reaped) return;
    running_->signal(SIGKILL);
    running_->reap();
}

pid_t ChildProcess::processIdentifier() const {
    return running_ ? running_->pid : -1;
}

std::optional<ChildResult> ChildProcess::wait(std::optional<Clock::time_point> deadline) {
    if (!running_) return std::nullopt;
    while (!running_->reaped) {
        running_->noticeEnd();
        if (running_->isComplete()) {
            running_->reap();
            break;
        }
        const bool hasEnded = running_->readUntil.has_value();
        const auto timeout =
            pollTimeout(hasEnded ? running_->readUntil : deadline, !hasEnded && !running_->exit);
        if (!timeout && !hasEnded) return std::nullopt;
        running_->pollOnce(timeout.value_or(0));
        if (running_->isOverLimit()) {
            running_->signal(SIGKILL);
            running_->reap();
            throw OutputLimitError("the output is larger than " + std::to_string(running_->outputLimit) +
                                   " bytes");
        }
    }
    running_->input.reset();
    running_->output.reset();
    running_->error.reset();
    return running_->result;
}

void ChildProcess::stop(std::chrono::milliseconds grace) {
    if (!running_ || running_->reaped) return;
    signalGroup(SIGTERM);
    const auto until = Clock::now() + grace;
    while (!running_->hasEnded()) {
        const auto timeout = pollTimeout(until, !running_->exit);
        if (!timeout) break;
        // Last words are taken, so that no writer is stuck with them, and not kept.
        running_->pollOnce(*timeout);
        running_->result.standardOutput.clear();
        running_->result.standardError.clear();
    }
    std::this_thread::sleep_until(until);
    // As long as the child is not reaped its number stays taken, and with it the group's.
    signalGroup(SIGKILL);
    running_->reap();
}

void ChildProcess::signalGroup(int signal) {
    if (!running_ || running_->reaped) return;
    running_->signal(signal);
}

void ChildProcess::signal(int signal) {
    if (running_ && !running_->reaped) kill(running_->pid, signal);
}

void ChildProcess::detach() {
    if (running_ && !running_->reaped) reapInBackground(running_->pid);
    running_.reset();
}

ChildResult runChild(ChildCommand command) {
    ChildProcess child(std::move(command));
    return child.wait().value_or(ChildResult{});
}

}  // namespace varkel
