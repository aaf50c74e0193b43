// Scripts: any bytes are a script or an error, and a script that is carried out does what its desktop allows,
// within bounds.

#include <cmath>
#include <optional>
#include <string>
#include <string_view>

#include "base/UnicodeText.h"
#include "fuzz/Property.h"
#include "platform/linux/applescript/Interpreter.h"
#include "platform/linux/applescript/Parser.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::fuzzing {
namespace {

using namespace varkel::applescript;

constexpr std::size_t largestText = std::size_t{64} << 20;

int lineCount(std::string_view source) {
    int lines = 1;
    for (const char c : source) lines += c == '\n' || c == '\r' ? 1 : 0;
    return lines;
}

void requireText(const std::string& text) {
    require(text.size() <= largestText, "texts have a bound");
    require(isValidUTF8(text), "texts are UTF-8");
}

/// Obeys everything and does nothing. There are no loops in the language: a script does no more than it has
/// statements.
class Desktop : public ScriptDesktop {
  public:
    explicit Desktop(std::size_t mostActs) : left_(mostActs) {}

    void activate(const ApplicationName& application) override { act(application.text); }
    bool isRunning(const ApplicationName& application) override {
        act(application.text);
        return application.text.size() % 2 == 0;
    }
    std::size_t countWindows(const ApplicationName& application) override {
        act(application.text);
        return application.text.size() % 4;
    }
    Window window(const ApplicationName& application, std::size_t number) override {
        act(application.text);
        require(number >= 1, "windows are counted from 1");
        if (number > 3) throw ExecutionError("There is no such window.", ExecutionError::noSuchObject);
        return {application, number};
    }
    Window openTerminal(const ApplicationName& application) override {
        act(application.text);
        return {application, 1};
    }
    void runInTerminal(const Window&, const std::string& command) override { act(command); }
    std::string runShell(const std::string& command) override {
        act(command);
        return command.substr(0, command.find(' '));
    }
    void notify(const Notification& notification) override {
        act(notification.text + notification.title + notification.subtitle + notification.sound);
    }
    void delay(double seconds) override {
        act("");
        require(std::isfinite(seconds), "a delay ends");
    }
    void log(const std::string& text) override { act(text); }

  private:
    void act(const std::string& text) {
        require(left_-- > 0, "a script does no more than it says");
        if (text.size() <= largestText) requireText(text);
    }

    std::size_t left_;
};

std::optional<Script> parsed(std::string_view source) {
    try {
        return parseScript(source);
    } catch (const SyntaxError& error) {
        require(error.line() >= 1 && error.line() <= lineCount(source) + 1, "an error has a line");
        require(isValidUTF8(source) ? isValidUTF8(error.what()) : true, "an error's text is UTF-8");
        return std::nullopt;
    }
}

}  // namespace
}  // namespace varkel::fuzzing

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace varkel::fuzzing;
    const std::string_view source(reinterpret_cast<const char*>(data), size);
    const auto script = parsed(source);
    if (!script) return 0;
    Desktop desktop(size + 1);
    try {
        const auto result = runScript(*script, desktop);
        if (result) requireText(textOf(*result));
    } catch (const ExecutionError& error) {
        require(error.line() >= 1 && error.line() <= lineCount(source), "a failure has a line");
    }
    return 0;
}
