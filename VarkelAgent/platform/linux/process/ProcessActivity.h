#pragma once

#include <sys/types.h>

#include <chrono>

namespace varkel {

/// Whether a process of this machine was started no longer ago than `age`. False when it is gone. Any thread.
bool isYoungerThan(pid_t process, std::chrono::milliseconds age);

/// Waits until a process has had next to nothing to do for a moment: all of its threads sleep, and they
/// hardly ran. False when it was busy until the end of `patience`. A process that is gone, or that may not be
/// looked at, counts as idle. Any thread.
bool waitUntilIdle(pid_t process, std::chrono::milliseconds patience);

/// Waits until a process that was started a moment ago has come to rest, two seconds at the most: until then
/// an application may still be reading the document that keys are meant for, and take them for nothing or put
/// them in another place. Whether there was anything to wait for. Any thread.
bool waitUntilSettled(pid_t process);

}  // namespace varkel
