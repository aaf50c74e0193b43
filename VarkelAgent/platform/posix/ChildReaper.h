#pragma once

#include <sys/types.h>

namespace varkel {

/// Takes over a child of this process that is not waited for any more, so that it leaves no zombie when it
/// ends. Returns at once. Any thread.
void reapInBackground(pid_t child);

}  // namespace varkel
