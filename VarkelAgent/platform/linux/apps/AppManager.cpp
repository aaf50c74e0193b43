#include "platform/linux/apps/AppManager.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <thread>
#include <utility>

#include "base/UnicodeText.h"
#include "platform/ChildProcess.h"
#include "platform/linux/process/ProcessTree.h"
#include "platform/posix/ProgramPath.h"

namespace varkel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view terminalPath = "/usr/bin/x-terminal-emulator";
constexpr std::array<std::string_view, 3> terminalIds{"com.googlecode.iterm2", "com.googlecode.iterm",
                                                      "com.apple.Terminal"};

constexpr std::chrono::milliseconds activationPatience{1000};
/// How long a launched application gets to show a window. One that runs on without any counts as launched.
constexpr std::chrono::seconds launchPatience{15};
constexpr std::chrono::milliseconds windowPoll{40};

/// Programs whose name says nothing about the application that they run.
constexpr std::array<std::string_view, 12> wrappers{
    "sh", "bash", "env", "python3", "python", "perl", "java", "flatpak", "snap", "node", "gjs", "electron"};

std::string withoutSuffix(std::string_view name, std::string_view suffix) {
    return std::string(name.ends_with(suffix) ? name.substr(0, name.size() - suffix.size()) : name);
}

/// The emulator behind the system's link, such as "xterm" or "gnome-terminal".
std::vector<std::string> terminalPrograms() {
    std::error_code error;
    const auto target = std::filesystem::canonical(terminalPath, error);
    if (error) return {};
    std::string program = withoutSuffix(target.filename().string(), ".wrapper");
    // These choose settings for another one, which names its windows.
    if (program == "lxterm" || program == "uxterm" || program == "koi8rxterm") return {program, "xterm"};
    return {std::move(program)};
}

AppIdentity identityOf(const DesktopEntry& entry) {
    AppIdentity identity{entry.id, entry.windowClass, {}};
    const std::string program = std::filesystem::path(entry.command.front()).filename().string();
    if (std::find(wrappers.begin(), wrappers.end(), program) == wrappers.end()) identity.programs = {program};
    return identity;
}

AppIdentity identityFor(const std::string& identifier) {
    if (isTerminalId(identifier)) return {identifier, {}, terminalPrograms()};
    if (const auto entry = findDesktopEntry(identifier)) return identityOf(*entry);
    return {withoutSuffix(identifier, ".desktop"), {}, {}};
}

bool sameName(std::string_view a, std::string_view b) {
    return !a.empty() && isValidUTF8(a) && isValidUTF8(b) && lowerCased(a) == lowerCased(b);
}

/// Has a program of the system set them and become the command.
void setVariables(ChildCommand& command, std::vector<std::string> variables) {
    if (variables.empty()) return;
    variables.push_back(std::exchange(command.executable, "/usr/bin/env"));
    command.arguments.insert(command.arguments.begin(), variables.begin(), variables.end());
}

struct Launchable {
    AppIdentity identity;
    std::vector<std::string> command;
    std::string workingDirectory;
};

std::optional<Launchable> launchableAt(const std::string& url) {
    if (url == terminalPath) return Launchable{{"", {}, terminalPrograms()}, {url}, {}};
    const auto entry = readDesktopEntry(url);
    if (!entry) return std::nullopt;
    Launchable launchable{identityOf(*entry), expandFieldCodes(*entry), entry->workingDirectory};
    if (entry->runsInTerminal) {
        launchable.command.insert(launchable.command.begin(), {std::string(terminalPath), "-e"});
        launchable.identity.programs = terminalPrograms();
    }
    return launchable;
}

}  // namespace

bool isTerminalId(std::string_view id) {
    return std::find(terminalIds.begin(), terminalIds.end(), id) != terminalIds.end();
}

struct AppManager::Application : NSRunningApplication {
    /// The topmost last.
    std::vector<WindowId> windows;
    std::optional<pid_t> process;

    std::optional<pid_t> processIdentifier() const override { return process; }
};

bool belongsTo(const ClientWindow& window, const AppIdentity& identity) {
    if (sameName(identity.id, window.applicationId)) return true;
    for (const std::string* name : {&window.instanceName, &window.className}) {
        if (sameName(identity.id, *name) || sameName(identity.windowClass, *name)) return true;
    }
    return std::any_of(identity.programs.begin(), identity.programs.end(), [&](const std::string& program) {
        return sameName(program, window.instanceName) || sameName(program, window.className);
    });
}

std::optional<std::vector<ClientWindow>> AppManager::windowsOf(const AppIdentity& identity) {
    auto windows = windows_.clientWindows();
    if (windows)
        std::erase_if(*windows, [&](const ClientWindow& window) { return !belongsTo(window, identity); });
    return windows;
}

std::optional<std::vector<RunningApplicationRef>> AppManager::runningApplicationsWithBundleIdentifier(
    const std::string& identifier) {
    // One instance per process; windows that do not tell theirs count as one instance together.
    std::vector<std::shared_ptr<Application>> instances;
    const auto windows = windowsOf(identityFor(identifier));
    if (!windows) return std::nullopt;
    for (const ClientWindow& window : *windows) {
        auto found = std::find_if(instances.begin(), instances.end(),
                                  [&](const auto& instance) { return instance->process == window.process; });
        if (found == instances.end()) {
            instances.push_back(std::make_shared<Application>());
            found = std::prev(instances.end());
            (*found)->process = window.process;
        }
        (*found)->windows.push_back(window.id);
        // Last in the list is the instance with the topmost window.
        std::rotate(found, std::next(found), instances.end());
    }
    return std::vector<RunningApplicationRef>(instances.rbegin(), instances.rend());
}

bool AppManager::activateWithOptions(const RunningApplicationRef& application, ActivationOptions options) {
    const auto* known = dynamic_cast<const Application*>(application.get());
    if (known == nullptr || known->windows.empty()) return false;
    std::vector<WindowId> windows = known->windows;
    if (options != ActivationOptions::activateAllWindows) windows = {windows.back()};
    return windows_.activate(windows, activationPatience);
}

std::optional<std::vector<WindowId>> AppManager::windowsWithBundleIdentifier(const std::string& identifier) {
    const auto windows = windowsOf(identityFor(identifier));
    if (!windows) return std::nullopt;
    std::vector<WindowId> ids;
    for (const ClientWindow& window : *windows) ids.push_back(window.id);
    return ids;
}

bool AppManager::activateWindow(WindowId window) {
    return windows_.activate({window}, activationPatience);
}

bool AppManager::isActiveWindow(WindowId window) {
    return windows_.isActive(window);
}

std::optional<std::string> AppManager::URLForApplicationWithBundleIdentifier(const std::string& identifier) {
    if (isTerminalId(identifier)) {
        if (access(terminalPath.data(), X_OK) != 0) return std::nullopt;
        return std::string(terminalPath);
    }
    const auto entry = findDesktopEntry(identifier);
    return entry ? std::optional(entry->path) : std::nullopt;
}

LaunchOutcome AppManager::openApplicationAtURL(const std::string& url,
                                               const NSWorkspaceOpenConfiguration& configuration) {
    auto launchable = launchableAt(url);
    // A command may have been nothing but codes that vanish.
    if (!launchable || launchable->command.empty()) return {nullptr, "no application at " + url};
    const auto before = windowsOf(launchable->identity);
    if (!before) return {nullptr, "the desktop does not tell which windows there are"};

    ChildCommand command;
    command.executable = resolveProgram(launchable->command.front());
    command.arguments.assign(std::next(launchable->command.begin()), launchable->command.end());
    setVariables(command, windows_.launchEnvironment());
    command.workingDirectory = launchable->workingDirectory;
    command.output = ChildCommand::Output::discard;
    command.newSession = true;
    try {
        ChildProcess child(std::move(command));
        LaunchOutcome outcome{awaitWindow(launchable->identity, child, *before), {}};
        child.detach();
        if (!outcome.application) outcome.error = "the application ended before it showed a window";
        if (outcome.application && configuration.activates) {
            activateWithOptions(outcome.application, ActivationOptions::activateAllWindows);
        }
        return outcome;
    } catch (const LaunchError& error) {
        return {nullptr, error.what()};
    }
}

/// A launcher may hand over to an instance that runs already, or to a service, and end: then any window of
/// the application will do.
RunningApplicationRef AppManager::awaitWindow(const AppIdentity& identity, ChildProcess& child,
                                              const std::vector<ClientWindow>& before) {
    std::set<WindowId> old;
    for (const ClientWindow& window : before) old.insert(window.id);
    const auto until = Clock::now() + launchPatience;
    std::optional<ChildResult> ended;
    for (;;) {
        if (!ended) ended = child.wait(Clock::now());
        const bool handedOver = ended && ended->status == 0 && !ended->signalled;
        auto application = std::make_shared<Application>();
        for (const ClientWindow& window : windows_.clientWindows().value_or(std::vector<ClientWindow>())) {
            const bool isOurs =
                window.process && !ended && isDescendantOf(*window.process, child.processIdentifier());
            const bool isNew = !old.contains(window.id);
            if (!(isNew && isOurs) && !(belongsTo(window, identity) && (isNew || handedOver))) continue;
            application->windows.push_back(window.id);
            application->process = window.process;
        }
        if (!application->windows.empty()) return application;
        if (ended && !handedOver) return nullptr;
        if (Clock::now() >= until) {
            if (ended) return nullptr;
            application->process = child.processIdentifier();
            return application;
        }
        std::this_thread::sleep_for(windowPoll);
    }
}

}  // namespace varkel
