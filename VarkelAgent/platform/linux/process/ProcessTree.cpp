#include "platform/linux/process/ProcessTree.h"

#include <fstream>
#include <string>

#include "base/ParseInteger.h"

namespace varkel {

namespace {

/// 0 when the process is gone.
pid_t parentOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string line;
    std::getline(file, line);
    // The program's name comes in parentheses and may hold anything.
    const auto end = line.rfind(") ");
    if (end == std::string::npos || end + 4 >= line.size()) return 0;
    const std::string_view parent = std::string_view(line).substr(end + 4);
    return parseInteger<pid_t>(parent.substr(0, parent.find(' '))).value_or(0);
}

}  // namespace

bool isDescendantOf(pid_t process, pid_t ancestor) {
    constexpr int maxDepth = 64;
    for (int depth = 0; process > 1 && depth < maxDepth; ++depth, process = parentOf(process)) {
        if (process == ancestor) return true;
    }
    return false;
}

}  // namespace varkel
