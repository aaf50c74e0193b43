// Scripts: any bytes are a script or an error, and a script that is carried out does what its desktop allows,
// within bounds.

#include <optional>
#include <string>
#include <string_view>

#include "base/UnicodeText.h"
#include "fuzz/Property.h"
#include "platform/linux/applescript/Interpreter.h"
#include "platform/linux/applescript/Parser.h"
#include "support/ScriptRecorder.h"

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

/// There are no loops in the language: a script does no more than it has statements.
class Desktop : public ScriptRecorder {
  public:
    explicit Desktop(std::size_t mostActs) : left_(mostActs) { windows = mostActs % 4; }

    void note(const std::string& act) override {
        require(left_-- > 0, "a script does no more than it says");
        if (act.size() <= largestText) requireText(act);
    }

  private:
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

void check(std::string_view source) {
    const auto script = parsed(source);
    if (!script) return;
    Desktop desktop(source.size() + 1);
    try {
        const auto result = runScript(*script, desktop);
        if (result) requireText(textOf(*result));
    } catch (const ExecutionError& error) {
        require(error.line() >= 1 && error.line() <= lineCount(source), "a failure has a line");
    }
}

}  // namespace varkel::fuzzing
