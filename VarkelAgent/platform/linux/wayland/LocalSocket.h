#pragma once

#include <string>

#include "base/FileDescriptor.h"

namespace varkel {

/// A socket that is connected to the one at `path` in the file system and does not block; none when nothing
/// listens there or it takes no callers now. Does not block. Any thread.
FileDescriptor connectToLocalSocket(const std::string& path);

}  // namespace varkel
