#pragma once

#include <sys/types.h>

namespace varkel {

/// Whether a process is another one, or was started by it, or by one that was, as far as the parents still
/// live.
bool isDescendantOf(pid_t process, pid_t ancestor);

}  // namespace varkel
