#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/Deadline.h"

namespace varkel {

/// What comes out of a pipe until its end; nothing when that is more than `limit`, or does not come in time.
std::optional<std::string> readPipe(int descriptor, std::size_t limit, Deadline deadline);

/// Writes all of it; false when it was not taken in time.
bool writePipe(int descriptor, std::string_view bytes, Deadline deadline);

}  // namespace varkel
