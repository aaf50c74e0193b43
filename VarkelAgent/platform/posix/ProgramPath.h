#pragma once

#include <string>

namespace varkel {

/// The full path of a program, looked for along PATH; posix_spawn gets no other. A name that holds a slash,
/// or that is not to be found, comes back as it is. Reads the environment; any thread.
std::string resolveProgram(const std::string& program);

}  // namespace varkel
