#include "platform/posix/SpawnChild.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

extern char** environ;

namespace varkel {

namespace {

constexpr int firstOwnFd = 3;

std::string describe(int error) {
    return std::system_category().message(error);
}

/// A descriptor from 3 upwards: one below, possible when this process runs without standard descriptors,
/// would be overwritten while the child's own are put in place.
FileDescriptor aboveStandard(int fd) {
    FileDescriptor owned(fd);
    if (fd < 0 || fd >= firstOwnFd) return owned;
    return FileDescriptor(fcntl(fd, F_DUPFD_CLOEXEC, firstOwnFd));
}

struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

Pipe makePipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw LaunchError(describe(errno));
    Pipe made{aboveStandard(ends[0]), aboveStandard(ends[1])};
    if (!made.reading || !made.writing) throw LaunchError(describe(EMFILE));
    return made;
}

class SpawnActions {
  public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }

    void give(const FileDescriptor& fd, int as) { posix_spawn_file_actions_adddup2(&actions_, fd.get(), as); }
    void giveNull(int as, int mode) { posix_spawn_file_actions_addopen(&actions_, as, "/dev/null", mode, 0); }

    void enter(const std::string& directory) {
        posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str());
    }

    /// Descriptors that some library opened without close-on-exec stay here too.
    void closeTheRest() {
#ifdef __GLIBC__
        posix_spawn_file_actions_addclosefrom_np(&actions_, firstOwnFd);
#endif
    }

    const posix_spawn_file_actions_t* get() const {
        return &actions_;
    }

  private:
    posix_spawn_file_actions_t actions_{};
};

class SpawnAttributes {
  public:
    explicit SpawnAttributes(const ChildCommand& command) {
        posix_spawnattr_init(&attributes_);
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setpgroup(&attributes_, 0);
        // A new session brings a group of its own along.
        int own = command.group == ChildCommand::Group::own ? POSIX_SPAWN_SETPGROUP : 0;
        if (command.newSession) own = POSIX_SPAWN_SETSID;
        posix_spawnattr_setflags(&attributes_,
                                 static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | own));
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_{};
};

bool canBePassedOn(const ChildCommand& command) {
    const auto isWhole = [](const std::string& text) { return text.find('\0') == std::string::npos; };
    return isWhole(command.executable) && std::ranges::all_of(command.arguments, isWhole);
}

}  // namespace

SpawnedChild spawnChild(const ChildCommand& command) {
    if (!canBePassedOn(command)) throw LaunchError(describe(EINVAL));
    const SpawnAttributes attributes(command);
    SpawnActions actions;
    Pipe in;
    Pipe out;
    Pipe err;
    if (command.input) {
        in = makePipe();
        actions.give(in.reading, STDIN_FILENO);
    } else {
        actions.giveNull(STDIN_FILENO, O_RDONLY);
    }
    if (command.output == ChildCommand::Output::capture) {
        out = makePipe();
        err = makePipe();
        actions.give(out.writing, STDOUT_FILENO);
        actions.give(err.writing, STDERR_FILENO);
    } else if (command.output == ChildCommand::Output::discard) {
        actions.giveNull(STDOUT_FILENO, O_WRONLY);
        actions.giveNull(STDERR_FILENO, O_WRONLY);
    }
    if (!command.workingDirectory.empty()) actions.enter(command.workingDirectory);
    actions.closeTheRest();

    std::vector<char*> arguments;
    arguments.reserve(command.arguments.size() + 2);
    arguments.push_back(const_cast<char*>(command.executable.c_str()));
    for (const std::string& argument : command.arguments)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);

    SpawnedChild child;
    const int failure = posix_spawn(&child.pid, command.executable.c_str(), actions.get(), attributes.get(),
                                    arguments.data(), environ);
    if (failure != 0) throw LaunchError(describe(failure));

    child.input = std::move(in.writing);
    child.output = std::move(out.reading);
    child.error = std::move(err.reading);
    return child;
}

}  // namespace varkel
