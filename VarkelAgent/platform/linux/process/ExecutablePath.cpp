#include <filesystem>
#include <system_error>

#include "platform/Platform.h"

namespace varkel {

std::optional<std::string> executablePath() {
    std::error_code error;
    const auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::nullopt : std::optional(path.string());
}

}  // namespace varkel
