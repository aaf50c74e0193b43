#include <gmock/gmock.h>

#include "keys/TerminalScript.h"
#include "platform/linux/applescript/Interpreter.h"
#include "platform/linux/applescript/Operators.h"
#include "platform/linux/applescript/Parser.h"
#include "support/ScriptRecorder.h"

namespace varkel::applescript {
namespace {

using testing::HasSubstr;

struct Recorder : ScriptRecorder {
    void note(const std::string& act) override { done.push_back(act); }
    std::vector<std::string> done;
};

/// What a script prints, or how it fails.
std::string outcome(const std::string& source, Recorder& desktop) {
    try {
        const auto result = runScript(parseScript(source), desktop);
        return result ? textOf(*result) : "(nothing)";
    } catch (const SyntaxError& error) {
        return "line " + std::to_string(error.line()) + ": syntax error: " + error.what();
    } catch (const ExecutionError& error) {
        return "line " + std::to_string(error.line()) + ": " + error.what() + " (" +
               std::to_string(error.number()) + ")";
    }
}

std::string outcome(const std::string& source) {
    Recorder desktop;
    return outcome(source, desktop);
}

TEST(AppleScript, EvaluatesExpressions) {
    const std::map<std::string, std::string> numbers{
        {"1 + 2 * 3 - 4", "3"}, {"10 - 4 - 3", "3"},  {"7 / 2", "3.5"},   {"6 ÷ 2", "3.0"},
        {"-7 div 2", "-3"},     {"-7 mod 2", "-1"},   {"7.5 div 2", "3"}, {"2 ^ 10", "1024.0"},
        {"-2 ^ 2", "4.0"},      {".5 + 1e2", "100.5"}};
    for (const auto& [source, expected] : numbers) EXPECT_EQ(outcome(source), expected) << source;
    const std::pair<std::string, std::string> cases[] = {
        {"9223372036854775807 + 1", "9223372036854775808.0"},
        {"(-9223372036854775807 - 1) div -1", "9223372036854775808.0"},
        {"(-9223372036854775807 - 1) mod -1", "0"},
        // Texts and conversions.
        {R"("a\"b\\c\td\ne")", "a\"b\\c\td\ne"},
        {"\"a\" & 1 & 2.5 & true", "a12.5true"},
        {"1 + 2 & \"x\" & 3 * 4", "3x12"},
        {"\"a\" & return & tab & space & quote & linefeed", "a\n\t \"\n"},
        {"quoted form of \"it's\" & \"!\"", "'it'\\''s'!"},
        {"(\"5\" as integer) & (2.6 as integer) & (\"TRUE\" as boolean)", "53true"},
        {"1 & 2 as text", "12"},
        // Failures.
        {"1 / 0", "line 1: Can't divide 1 by zero. (-2701)"},
        {"10 ^ 10000", "line 1: The result is too large. (-2702)"},
        {"1 + \"one\"", "line 1: Can't make \"one\" into type number. (-1700)"},
        {"1 and true", "line 1: Can't make \"1\" into type boolean. (-1700)"},
        {"\"a\" < 1", "line 1: Can't make \"a\" into type number. (-1700)"},
    };
    for (const auto& [source, expected] : cases) EXPECT_EQ(outcome(source), expected) << source;
}

TEST(AppleScript, ComparesWithoutRegardToLetterCase) {
    for (const char* source : {"\"ÄB\" = \"äb\"", "1 is not equal to 2", "2 is less than or equal to 2",
                               "3 ≥ 2 and 3 is greater than 2", "\"top\" is in \"Desktop\"",
                               "\"Desktop\" starts with \"desk\" and \"Desktop\" ends with \"TOP\"",
                               "true or false and false", "not (1 = 2) and not false"}) {
        EXPECT_EQ(outcome(source), "true") << source;
    }
    for (const char* source : {"\"a\" is equal to \"b\"", "1 = \"1\"", "\"2\" < \"10\"",
                               "\"Desktop\" does not contain \"TOP\"", "false and 1 div 0 = 1"}) {
        EXPECT_EQ(outcome(source), "false") << source;
    }
}

TEST(AppleScript, CarriesStatementsOut) {
    const auto check = [](const std::string& source, const std::string& expected,
                          const std::vector<std::string>& done = {}) {
        Recorder desktop;
        EXPECT_EQ(outcome(source, desktop), expected) << source;
        EXPECT_EQ(desktop.done, done) << source;
    };
    check("-- only\n# comments\n(* (* and *) more\n*)", "(nothing)");
    check("\"first\"\n\"last\"", "last");
    check("return \"a\"\nlog \"b\"", "a");
    check("log \"b\"\nreturn", "(nothing)", {"log b"});
    check("set x to 2\nSET the Y to X * 3\ny", "6");
    check("set x to 1\r\nset x to x + 1\rx", "2");
    check("set x to 1 ¬\n    + 2", "3");
    check("\uFEFFset tell1 to \"é\"\ntell1", "é");
    check("if 1 = 2 then\nlog 1\nelse if 2 = 2 then\nlog 2\nelse\nlog 3\nend if", "(nothing)", {"log 2"});
    check("if true then log 1", "(nothing)", {"log 1"});
    check("if false then return 1 else return 2", "2");
    check("if true then\nif true then return 1\nend if\nlog 2", "1");
    check("delay\ndelay 0.5", "(nothing)", {"delay 1.000000", "delay 0.500000"});
    check("do shell script \"ls \" & quoted form of \"a b\"", "shell's", {"shell ls 'a b'"});
    check("display notification \"text\" with title \"T\" subtitle \"S\" sound name \"Ping\"", "(nothing)",
          {"notify text|T|S|Ping"});
    check("error \"bad\" number 7", "line 1: bad (7)");
    check("\nerror", "line 2: An error has occurred. (-2700)");
    check("tell application \"Text Editor\" to activate", "(nothing)", {"activate Text Editor"});
    check("tell app \"A\"\ntell the application \"B\" to activate\nactivate\nend tell", "(nothing)",
          {"activate B", "activate A"});
    check("if application \"A\" is running then return \"yes\"\n\"no\"", "no");
    check("tell application \"Nowhere\"\n\n activate\nend tell", "line 3: Not there. (-1728)");
    check("activate", "line 1: \"activate\" must be told to an application. (-1708)");
    check("tell application \"Terminal\" to do script \"ls\"", "window id 1",
          {"open Terminal", "run in 1: ls"});
    check("tell application \"Terminal\"\nset w to do script \"\"\ndo script \"ls\" in w\nend tell",
          "window id 1", {"open Terminal", "run in 1: ls"});
    check("tell application \"Terminal\" to do script \"ls\" in window 2", "line 1: No window. (-1728)");
    check("tell application \"Terminal\" to do script \"ls\" in window (0 - 1)",
          "line 1: There is no such window. (-1728)");
    check("tell application \"Terminal\" to do script \"ls\" in \"front\"",
          "line 1: \"front\" is not a window. (-1700)");
    check("write text \"ls\"", "line 1: \"write text\" must be told to a window of a terminal. (-1708)");
}

TEST(AppleScript, NamesTheLineAndTheWordThatItDoesNotUnderstandAndDoesNothing) {
    const std::pair<std::string, std::string> cases[] = {
        {"log 1\nclick button 1", "line 2: syntax error: unknown word \"click\""},
        {"log 1\nset x to Y", "line 2: syntax error: unknown word \"Y\""},
        {"log \"a\nb\"\n\noops", "line 4: syntax error: unknown word \"oops\""},
        {"repeat 3 times\nend repeat", "line 1: syntax error: unknown word \"repeat\""},
        {"do shell script \"ls\" with administrator privileges",
         "line 1: syntax error: unknown word \"with\""},
        {"tell application A to activate",
         "line 1: syntax error: expected an application's name in quotes but found \"A\""},
        {"if true\nlog 1\nend if", "line 1: syntax error: expected \"then\" but found end of the line"},
        {"if true then\nlog 1\nend tell", "line 3: syntax error: unknown word \"tell\""},
        {"if true then\nlog 1", "line 2: syntax error: expected \"end\" but found end of the script"},
        {"set tell to 5", "line 1: syntax error: expected a variable's name but found \"tell\""},
        {"{1, 2}", "line 1: syntax error: unknown character \"{\""},
        {"1 +", "line 1: syntax error: unexpected end of the line"},
        {"(1", "line 1: syntax error: expected \")\" but found end of the line"},
        {"1e999", "line 1: syntax error: unexpected \"1e999\""},
        {"1 \"a\"", "line 1: syntax error: unexpected text \"a\""},
        {"\n\"a", "line 2: syntax error: the text that begins with \" does not end"},
        {"\"a\\", "line 1: syntax error: a text has an unknown escape after \"\\\""},
        {"(* a", "line 1: syntax error: the comment \"(*\" does not end"},
        {"1 ¬ 2", "line 1: syntax error: the line must end after \"¬\""},
        {"\"\xFF\"", "line 1: syntax error: the script is not valid UTF-8"},
        {std::string("log 1\0", 6), "line 1: syntax error: unexpected control character"},
    };
    for (const auto& [source, expected] : cases) {
        Recorder desktop;
        EXPECT_EQ(outcome(source, desktop), expected) << source;
        EXPECT_TRUE(desktop.done.empty()) << source;
    }
}

std::string repeated(const std::string& text, int count) {
    std::string out;
    for (int each = 0; each < count; ++each) out += text;
    return out;
}

TEST(AppleScript, IsNotBroughtDownByWhatIsDeepOrLong) {
    constexpr int many = 200'000;
    for (const std::string& deep :
         {repeated("(", many), repeated("- ", many) + "1", repeated("not ", many) + "true",
          repeated("quoted form of ", many) + "1", repeated("tell application \"A\"\n", many),
          repeated("tell application \"A\" to ", many) + "activate", repeated("if true then\n", many),
          repeated("if true then ", many) + "log 1", repeated("do shell script ", many) + "1",
          repeated("current session of ", many) + "window 1", repeated("window ", many) + "1"}) {
        EXPECT_THAT(outcome(deep), HasSubstr("syntax error: the script nests too deeply"))
            << deep.substr(0, 40);
    }
    EXPECT_EQ(outcome("1" + repeated(" + 1", many)), std::to_string(many + 1));
    EXPECT_EQ(outcome("1" + repeated(" as text", many)), "1");
    EXPECT_EQ(outcome("set x to \"a\"\n" + repeated("log 1\n", many) + "x"), "a");
    EXPECT_EQ(outcome("if false then\n" + repeated("else if false then\n", many) + "end if"), "(nothing)");
    EXPECT_THAT(outcome("set x to \"12345678\"\n" + repeated("set x to x & x\n", 60)),
                HasSubstr("The text is too long."));
    // A quotation mark becomes three of them each time.
    EXPECT_THAT(
        outcome("set x to \"" + repeated("'", 100) + "\"\nset x to " + repeated("quoted form of ", 13) + "x"),
        HasSubstr("The text is too long."));
}

TEST(AppleScript, CarriesOutTheScriptsThatTerminalsAreSent) {
    const std::string text = "echo \"a\\n\"\nls 'é'";
    for (const std::size_t windows : {0U, 1U, 3U}) {
        for (const char* id : {"com.apple.Terminal", "com.googlecode.iterm2", "com.googlecode.iterm"}) {
            Recorder desktop;
            desktop.windows = windows;
            const bool isTerminal = std::string_view(id) == "com.apple.Terminal";
            const std::string name = isTerminal ? "Terminal" : "iTerm2";
            EXPECT_EQ(outcome(*appleScriptForTerminal(id, text), desktop),
                      isTerminal ? "window id 1" : "(nothing)");
            std::vector<std::string> expected{"activate " + name, "run in 1: " + text};
            if (windows == 0) expected.insert(std::next(expected.begin()), "open " + name);
            EXPECT_EQ(desktop.done, expected) << windows;
        }
    }
}

}  // namespace
}  // namespace varkel::applescript
