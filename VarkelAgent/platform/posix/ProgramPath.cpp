#include "platform/posix/ProgramPath.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace varkel {

std::string resolveProgram(const std::string& program) {
    if (program.find('/') != std::string::npos) return program;
    const char* path = std::getenv("PATH");
    const std::string directories = path == nullptr ? "/usr/local/bin:/usr/bin:/bin" : path;
    for (std::size_t at = 0; at <= directories.size();) {
        const auto end = std::min(directories.find(':', at), directories.size());
        std::string candidate = directories.substr(at, end - at) + "/" + program;
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
        at = end + 1;
    }
    return program;
}

}  // namespace varkel
