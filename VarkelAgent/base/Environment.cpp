#include "base/Environment.h"

#include <pwd.h>
#include <unistd.h>

#include <string_view>
#include <vector>

namespace varkel {

namespace {

Environment snapshot() {
    Environment variables;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) continue;
        variables.emplace(text.substr(0, equals), text.substr(equals + 1));
    }
    return variables;
}

std::string homeOfUser() {
    constexpr std::size_t roomForAnyEntry = 65'536;
    std::vector<char> room(roomForAnyEntry);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, room.data(), room.size(), &found) != 0 || found == nullptr) return {};
    return entry.pw_dir == nullptr ? "" : entry.pw_dir;
}

}  // namespace

const Environment& environment() {
    static const Environment shared = snapshot();
    return shared;
}

std::string homeDirectory(const Environment& environment) {
    const auto home = environment.find("HOME");
    const bool isSet = home != environment.end() && !home->second.empty();
    std::string path = isSet ? home->second : homeOfUser();
    while (path.ends_with('/')) path.pop_back();
    return path;
}

}  // namespace varkel
