#include "platform/linux/wayland/ToplevelOwner.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string_view>
#include <utility>

#include "base/UnicodeText.h"

namespace varkel {

namespace {

using Candidates = std::vector<const OwnedWindow*>;

/// Whether an application's identifier, such as "foot" or "org.gnome.gedit", is after a program's name.
bool isCalledAfter(const std::string& applicationId, const std::string& name) {
    if (name.empty() || !isValidUTF8(applicationId) || !isValidUTF8(name)) return false;
    const std::string id = lowerCased(applicationId);
    const std::string program = lowerCased(name);
    return id == program || id.ends_with("." + program);
}

bool isCalledAfter(const std::string& applicationId, const ProgramNames& names) {
    return isCalledAfter(applicationId, names.program) || isCalledAfter(applicationId, names.script);
}

/// Keeps those that a condition holds of, unless it holds of none.
template <class Condition>
void prefer(Candidates& candidates, Condition condition) {
    if (std::ranges::any_of(candidates, condition)) std::erase_if(candidates, std::not_fn(condition));
}

}  // namespace

ProgramNames programNamesOf(pid_t process) {
    constexpr std::array<std::string_view, 5> interpreters{"python", "perl", "gjs", "sh", "bash"};
    std::ifstream file("/proc/" + std::to_string(process) + "/cmdline", std::ios::binary);
    std::string path;
    std::string argument;
    std::getline(file, path, '\0');
    std::getline(file, argument, '\0');
    std::string program = std::filesystem::path(path).filename().string();
    const bool interprets = std::ranges::any_of(
        interpreters, [&program](std::string_view each) { return program.starts_with(each); });
    if (!interprets || argument.starts_with('-')) argument.clear();
    return {std::move(program), std::filesystem::path(argument).filename().string()};
}

std::optional<pid_t> ownerOf(const std::string& title, const std::string& applicationId, bool activated,
                             const std::vector<OwnedWindow>& windows) {
    const auto isNamed = [&](const OwnedWindow* each) {
        return isCalledAfter(applicationId, each->programs);
    };
    const auto isTitled = [&](const OwnedWindow* each) { return !title.empty() && each->title == title; };
    Candidates candidates;
    for (const OwnedWindow& each : windows) {
        if (isTitled(&each) || isNamed(&each)) candidates.push_back(&each);
    }
    prefer(candidates, isTitled);
    prefer(candidates, isNamed);
    if (activated) prefer(candidates, [](const OwnedWindow* each) { return each->active; });
    if (candidates.empty()) return std::nullopt;
    const pid_t process = candidates.front()->process;
    const bool isOne = std::ranges::all_of(
        candidates, [process](const OwnedWindow* each) { return each->process == process; });
    return isOne ? std::optional(process) : std::nullopt;
}

}  // namespace varkel
