#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Workspace.h"
#include "platform/linux/apps/DesktopEntry.h"
#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// What it takes to recognise an application's windows.
struct AppIdentity {
    std::string id;
    /// The window class that the desktop entry announces; may be empty.
    std::string windowClass;
    /// Names of programs that tell the application: none of interpreters and wrappers.
    std::vector<std::string> programs;
};

/// Whether a window belongs to the application. Letter case does not count in window classes. Pure.
bool belongsTo(const ClientWindow& window, const AppIdentity& identity);

/// Whether the identifier is one of the three that name the system's terminal emulator. Pure.
bool isTerminalId(std::string_view id);

/// Finds, activates and launches applications by their identifier: the name of a desktop entry, with or
/// without ".desktop", or one of the three terminal identifiers, which all name the system's terminal
/// emulator. Any thread; blocks, within deadlines.
class AppManager {
  public:
    /// `windows` outlives this object.
    explicit AppManager(WindowSystem& windows) : windows_(windows) {}

    /// The operations of Workspace with the same names.
    std::optional<std::vector<RunningApplicationRef>> runningApplicationsWithBundleIdentifier(
        const std::string& identifier);
    bool activateWithOptions(const RunningApplicationRef& application, ActivationOptions options);
    std::optional<std::string> URLForApplicationWithBundleIdentifier(const std::string& identifier);
    LaunchOutcome openApplicationAtURL(const std::string& url,
                                       const NSWorkspaceOpenConfiguration& configuration);

    /// The windows of the application with this identifier, the topmost last; nothing when the window
    /// system did not tell.
    std::optional<std::vector<WindowId>> windowsWithBundleIdentifier(const std::string& identifier);

    /// Brings one window to the front. False when it did not become active in time.
    bool activateWindow(WindowId window);

    /// Whether this window is in front now.
    bool isActiveWindow(WindowId window);

  private:
    struct Application;

    std::optional<std::vector<ClientWindow>> windowsOf(const AppIdentity& identity);
    RunningApplicationRef awaitWindow(const AppIdentity& identity, class ChildProcess& child,
                                      const std::vector<ClientWindow>& before);

    WindowSystem& windows_;
};

}  // namespace varkel
