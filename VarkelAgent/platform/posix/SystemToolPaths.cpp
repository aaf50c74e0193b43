#include "platform/posix/SystemToolPaths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <utility>

namespace varkel {

namespace {

bool isExecutableFile(const char* path) {
    struct stat info {};
    return stat(path, &info) == 0 && S_ISREG(info.st_mode) && access(path, X_OK) == 0;
}

}  // namespace

SystemToolPaths::SystemToolPaths(std::string agentDirectory) : agentDirectory_(std::move(agentDirectory)) {}

std::string SystemToolPaths::osascript() {
    return choose("/usr/bin/osascript");
}

std::string SystemToolPaths::shortcuts() {
    return choose("/usr/bin/shortcuts");
}

std::string SystemToolPaths::launchctl() {
    return choose("/bin/launchctl");
}

std::string SystemToolPaths::choose(const char* fixedPath) const {
    if (isExecutableFile(fixedPath)) return fixedPath;
    const std::string name = std::filesystem::path(fixedPath).filename().string();
    for (const char* folder : {"/", "/../lib/varkel-agent/"}) {
        std::string standIn = agentDirectory_ + folder + name;
        if (isExecutableFile(standIn.c_str())) return standIn;
    }
    // With none there, the failure to start should name the usual path.
    return fixedPath;
}

std::string executableDirectory() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? "." : executable.parent_path().string();
}

}  // namespace varkel
