#include "platform/linux/applescript/LinuxScriptDesktop.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <thread>
#include <utility>

#include "base/Graphemes.h"
#include "base/UnicodeText.h"
#include "platform/ChildProcess.h"
#include "platform/linux/applescript/NotificationService.h"
#include "platform/linux/applescript/ScriptError.h"
#include "platform/linux/apps/DesktopEntry.h"

namespace varkel::applescript {

namespace {

/// How long a terminal gets to read what was typed before this process may give the keyboard back.
constexpr std::chrono::milliseconds readingPatience{2000};

/// A look costs about as much as two characters.
constexpr std::size_t charactersBetweenLooks = 16;

std::string findIdentifier(const ApplicationName& application) {
    if (application.isIdentifier) return application.text;
    const std::string name = lowerCased(application.text);
    if (name == "terminal") return "com.apple.Terminal";
    if (name == "iterm" || name == "iterm2") return "com.googlecode.iterm2";
    const auto entry = findDesktopEntryByName(application.text);
    return entry ? entry->id : application.text;
}

ExecutionError noSuchApplication(const ApplicationName& application) {
    return {"Can't get application \"" + application.text + "\".", ExecutionError::noSuchObject};
}

void pressKeyTyping(EventPoster& poster, std::string_view character) {
    const auto units = utf16(character);
    for (const bool down : {true, false}) {
        auto event = poster.CGEventCreateKeyboardEvent(0, down);
        if (!event) continue;
        poster.CGEventKeyboardSetUnicodeString(*event, units);
        poster.CGEventPost(*event);
    }
}

ExecutionError noAnswer() {
    return {"The desktop does not answer.", ExecutionError::userError};
}

}  // namespace

std::vector<WindowId> LinuxScriptDesktop::windowsOf(const std::string& identifier) {
    auto windows = applications_.windowsWithBundleIdentifier(identifier);
    if (!windows) throw noAnswer();
    return *std::move(windows);
}

const std::string& LinuxScriptDesktop::identifierOf(const ApplicationName& application) {
    auto& identifier = identifiers_[{application.text, application.isIdentifier}];
    if (identifier.empty()) identifier = findIdentifier(application);
    return identifier;
}

const std::string& LinuxScriptDesktop::terminalIdentifierOf(const ApplicationName& application) {
    const std::string& identifier = identifierOf(application);
    if (isTerminalId(identifier)) return identifier;
    throw ExecutionError("\"" + application.text + "\" is not a terminal that takes commands.",
                         ExecutionError::notUnderstood);
}

void LinuxScriptDesktop::activate(const ApplicationName& application) {
    const auto running = applications_.runningApplicationsWithBundleIdentifier(identifierOf(application));
    if (!running) throw noAnswer();
    if (running->empty()) return launch(application);
    if (!applications_.activateWithOptions(running->front(), ActivationOptions::activateAllWindows)) {
        throw ExecutionError("\"" + application.text + "\" did not come to the front.",
                             ExecutionError::userError);
    }
}

void LinuxScriptDesktop::launch(const ApplicationName& application) {
    const auto url = applications_.URLForApplicationWithBundleIdentifier(identifierOf(application));
    if (!url) throw noSuchApplication(application);
    const auto outcome =
        applications_.openApplicationAtURL(*url, NSWorkspaceOpenConfiguration{.activates = true});
    if (outcome.application) return;
    throw ExecutionError("\"" + application.text + "\" could not be opened: " + outcome.error,
                         ExecutionError::userError);
}

bool LinuxScriptDesktop::isRunning(const ApplicationName& application) {
    return countWindows(application) > 0;
}

std::size_t LinuxScriptDesktop::countWindows(const ApplicationName& application) {
    return windowsOf(identifierOf(application)).size();
}

Window LinuxScriptDesktop::window(const ApplicationName& application, std::size_t number) {
    const auto windows = windowsOf(identifierOf(application));
    if (number == 0 || number > windows.size()) {
        throw ExecutionError(
            "Can't get window " + std::to_string(number) + " of \"" + application.text + "\".",
            ExecutionError::noSuchObject);
    }
    return {application, windows[windows.size() - number]};
}

Window LinuxScriptDesktop::openTerminal(const ApplicationName& application) {
    const std::string& identifier = terminalIdentifierOf(application);
    const auto before = windowsOf(identifier);
    launch(application);
    auto windows = windowsOf(identifier);
    std::erase_if(windows, [&](auto window) { return std::ranges::find(before, window) != before.end(); });
    if (!windows.empty()) return {application, windows.back()};
    throw ExecutionError("The terminal showed no new window.", ExecutionError::noSuchObject);
}

void LinuxScriptDesktop::runInTerminal(const Window& window, const std::string& command) {
    terminalIdentifierOf(window.application);
    if (!applications_.activateWindow(window.id)) {
        throw ExecutionError("The terminal's window did not come to the front.",
                             ExecutionError::noSuchObject);
    }
    type(command + "\n", window.id);
}

/// The text must not go on in another window when another one comes to the front meanwhile.
void LinuxScriptDesktop::type(const std::string& text, WindowId window) {
    EventPoster& poster = *session_.events;
    auto announcement = poster.announceText(text);
    std::size_t untilNextLook = 0;
    for (const std::string_view character : graphemeClusters(text)) {
        if (untilNextLook-- == 0) {
            untilNextLook = charactersBetweenLooks;
            if (!applications_.isActiveWindow(window)) {
                throw ExecutionError("The terminal's window did not stay in front.",
                                     ExecutionError::userError);
            }
        }
        pressKeyTyping(poster, character);
    }
    announcement.reset();
    // What the terminal has not read yet would change its meaning with the keyboard that it was typed on.
    session_.windows->waitUntilEventsAreRead(readingPatience);
}

std::string LinuxScriptDesktop::runShell(const std::string& command) {
    ChildCommand shell;
    shell.executable = "/bin/sh";
    shell.arguments = {"-c", command};
    // A signal to this process's group is meant for the command too.
    shell.group = ChildCommand::Group::inherited;
    ChildResult result;
    try {
        result = runChild(std::move(shell));
    } catch (const std::runtime_error& error) {
        throw ExecutionError(std::string("The command could not be run: ") + error.what(),
                             ExecutionError::userError);
    }
    constexpr int signalBase = 128;
    const int status = result.signalled ? signalBase + result.status : result.status;
    if (status != 0) {
        const std::string errors = validUTF8OrEmpty(std::move(result.standardError));
        const std::string_view said = trimmedOfWhiteSpace(errors);
        throw ExecutionError(said.empty() ? "The command exited with a non-zero status." : std::string(said),
                             status);
    }
    if (!isValidUTF8(result.standardOutput)) {
        throw ExecutionError("The command's output is not valid UTF-8.", ExecutionError::wrongKind);
    }
    if (result.standardOutput.ends_with('\n')) result.standardOutput.pop_back();
    return result.standardOutput;
}

void LinuxScriptDesktop::notify(const Notification& notification) {
    showNotification(notification);
}

void LinuxScriptDesktop::delay(double seconds) {
    constexpr double longest = 1e9;
    if (!(seconds > 0)) return;
    std::this_thread::sleep_for(std::chrono::duration<double>(std::min(seconds, longest)));
}

void LinuxScriptDesktop::log(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
}

}  // namespace varkel::applescript
