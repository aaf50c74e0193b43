#pragma once

#include <cstddef>
#include <string>

#include "platform/linux/applescript/Value.h"

namespace varkel::applescript {

struct Notification {
    std::string text;
    /// These may be empty.
    std::string title;
    std::string subtitle;
    std::string sound;
};

/// What a script can do to the world. Every operation may block, and throws ExecutionError when it cannot do
/// what was asked for.
class ScriptDesktop {
  public:
    virtual ~ScriptDesktop() = default;

    /// Brings an application to the front; starts it when it is not running.
    virtual void activate(const ApplicationName& application) = 0;
    virtual bool isRunning(const ApplicationName& application) = 0;
    virtual std::size_t countWindows(const ApplicationName& application) = 0;

    /// An application's window, counted from 1, the front one first.
    virtual Window window(const ApplicationName& application, std::size_t number) = 0;

    /// Opens another window of a terminal.
    virtual Window openTerminal(const ApplicationName& application) = 0;

    /// Has the shell in a terminal's window run a command: the text arrives as if it were typed, and Return
    /// after it.
    virtual void runInTerminal(const Window& window, const std::string& command) = 0;

    /// Runs a command with the system's shell and gives what it printed.
    virtual std::string runShell(const std::string& command) = 0;

    virtual void notify(const Notification& notification) = 0;
    virtual void delay(double seconds) = 0;
    virtual void log(const std::string& text) = 0;
};

}  // namespace varkel::applescript
