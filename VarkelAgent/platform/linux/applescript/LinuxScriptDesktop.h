#pragma once

#include <map>
#include <vector>

#include "platform/linux/applescript/ScriptDesktop.h"
#include "platform/linux/apps/AppManager.h"
#include "platform/linux/session/Session.h"

namespace varkel::applescript {

/// The desktop of the session that this process belongs to. An application's name is that of its desktop
/// entry, as menus show it, or the entry's identifier; "Terminal", "iTerm" and "iTerm2" all mean the system's
/// terminal emulator. One thread.
class LinuxScriptDesktop : public ScriptDesktop {
  public:
    void activate(const ApplicationName& application) override;
    bool isRunning(const ApplicationName& application) override;
    std::size_t countWindows(const ApplicationName& application) override;
    Window window(const ApplicationName& application, std::size_t number) override;
    Window openTerminal(const ApplicationName& application) override;
    void runInTerminal(const Window& window, const std::string& command) override;
    std::string runShell(const std::string& command) override;
    void notify(const Notification& notification) override;
    void delay(double seconds) override;
    void log(const std::string& text) override;

  private:
    const std::string& identifierOf(const ApplicationName& application);
    const std::string& terminalIdentifierOf(const ApplicationName& application);
    std::vector<WindowId> windowsOf(const std::string& identifier);
    void launch(const ApplicationName& application);
    void type(const std::string& text, WindowId window);

    AtspiBus bus_;
    Session session_ = openSession(bus_);
    AppManager applications_{*session_.windows};
    std::map<std::pair<std::string, bool>, std::string> identifiers_;
};

}  // namespace varkel::applescript
