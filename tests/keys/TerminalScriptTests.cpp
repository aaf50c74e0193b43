#include <gtest/gtest.h>

#include "keys/TerminalScript.h"

namespace varkel {
namespace {

TEST(TerminalScript, HandsTheTextToTerminal) {
    EXPECT_EQ(appleScriptForTerminal("com.apple.Terminal", "ls"), R"(tell application "Terminal"
    activate
    if (count of windows) = 0 then
        do script ""
    end if
    do script "ls" in front window
end tell)");
}

TEST(TerminalScript, HandsTheTextToBothITerms) {
    const std::string script = R"(tell application "iTerm2"
    activate
    if (count of windows) = 0 then
        create window with default profile
    end if
    tell current session of current window
        write text "ls"
    end tell
end tell)";
    EXPECT_EQ(appleScriptForTerminal("com.googlecode.iterm2", "ls"), script);
    EXPECT_EQ(appleScriptForTerminal("com.googlecode.iterm", "ls"), script);
}

TEST(TerminalScript, EscapesQuotesAndBackslashesAndNothingElse) {
    const auto script = appleScriptForTerminal("com.apple.Terminal", "echo \"a\\n\" \n'é'\t");
    ASSERT_TRUE(script);
    EXPECT_NE(script->find("    do script \"echo \\\"a\\\\n\\\" \n'é'\t\" in front window\n"),
              std::string::npos)
        << *script;
}

TEST(TerminalScript, KnowsNoOtherIdentifier) {
    for (const std::string_view id :
         {"", "com.apple.terminal", "com.apple.Terminal ", "com.apple.TextEdit"}) {
        EXPECT_EQ(appleScriptForTerminal(id, "ls"), std::nullopt) << id;
    }
}

}  // namespace
}  // namespace varkel
