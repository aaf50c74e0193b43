#pragma once

#include <sys/types.h>

#include "base/FileDescriptor.h"
#include "platform/ChildProcess.h"

namespace varkel {

/// A program that has been started, and this process's ends of its pipes; those that the command does not ask
/// for are empty.
struct SpawnedChild {
    pid_t pid = -1;
    FileDescriptor input;
    FileDescriptor output;
    FileDescriptor error;
};

/// Starts a program with no other descriptors, signal handlers or blocked signals than the command gives it.
/// Its end must be waited for. Throws LaunchError. Any thread.
SpawnedChild spawnChild(const ChildCommand& command);

}  // namespace varkel
