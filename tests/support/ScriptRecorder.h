#pragma once

#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/linux/applescript/ScriptDesktop.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

/// A desktop for scripts on which every application has as many windows as there are told to be. Each act is
/// noted.
class ScriptRecorder : public ScriptDesktop {
  public:
    std::size_t windows = 0;

    virtual void note(const std::string& act) = 0;

    void activate(const ApplicationName& application) override {
        if (application.text == "Nowhere") throw ExecutionError("Not there.", ExecutionError::noSuchObject);
        note("activate " + nameOf(application));
    }
    bool isRunning(const ApplicationName&) override { return windows > 0; }
    std::size_t countWindows(const ApplicationName&) override { return windows; }
    Window window(const ApplicationName& application, std::size_t number) override {
        if (number < 1) throw std::logic_error("windows are counted from 1");
        if (number > windows) throw ExecutionError("No window.", ExecutionError::noSuchObject);
        return {application, number};
    }
    Window openTerminal(const ApplicationName& application) override {
        note("open " + nameOf(application));
        return {application, ++windows};
    }
    void runInTerminal(const Window& window, const std::string& command) override {
        note("run in " + std::to_string(window.id) + ": " + command);
    }
    std::string runShell(const std::string& command) override {
        note("shell " + command);
        return "shell's";
    }
    void notify(const Notification& each) override {
        note("notify " + each.text + "|" + each.title + "|" + each.subtitle + "|" + each.sound);
    }
    void delay(double seconds) override {
        if (!std::isfinite(seconds)) throw std::logic_error("a delay ends");
        note("delay " + std::to_string(seconds));
    }
    void log(const std::string& text) override { note("log " + text); }

  private:
    static std::string nameOf(const ApplicationName& application) {
        return (application.isIdentifier ? "id " : "") + application.text;
    }
};

}  // namespace varkel::applescript
