#pragma once

#include <sys/wait.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace varkel::test {

/// Whether a process is there and no zombie: a grandchild is one until its new parent reaps it.
inline bool isAlive(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    return std::getline(stat, line) && line.find(") Z ") == std::string::npos;
}

inline bool hasChildren() {
    return !(::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD);
}

/// Of this process.
inline std::size_t openDescriptors() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

}  // namespace varkel::test
