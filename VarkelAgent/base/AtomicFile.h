#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace varkel {

/// Writes a file so that under its name there is always either what was there before or all of `bytes`, also
/// after a crash: to a temporary file in the same folder, which then takes the name. `mode` holds whatever
/// the mask of the process, from before the first byte is written. Throws std::system_error, and then leaves
/// what was there. Any thread; blocks.
void writeFileAtomically(const std::string& path, std::string_view bytes, mode_t mode);

}  // namespace varkel
