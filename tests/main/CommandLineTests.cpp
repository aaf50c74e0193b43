#include <gmock/gmock.h>

#include "main/CommandLine.h"

namespace varkel {
namespace {

using Outcome = CommandLine::Outcome;

CommandLine parse(const std::vector<std::string>& arguments) {
    return parseCommandLine(arguments, TokenSource{"env-token", "/default/file"});
}

TEST(CommandLine, EndsAtTheFirstArgumentThatEndsTheProgram) {
    using Lines = std::initializer_list<std::vector<std::string>>;
    const auto check = [](Outcome outcome, const Lines& lines) {
        for (const auto& arguments : lines)
            EXPECT_EQ(parse(arguments).outcome, outcome) << testing::PrintToString(arguments);
    };
    check(Outcome::run, {{}, {"--token", "--help"}, {"foo", "--Help"}});
    check(Outcome::usage, {{"--help"}, {"-h", "--port"}, {"--port", "8080", "--help"}});
    check(Outcome::usageError, {{"--port", "abc", "--help"}, {"--port", "--help"}});
    for (const char* option : {"--port", "--token", "--token-file", "--executable-path"})
        check(Outcome::usageError, {{option}});
}

TEST(CommandLine, KeepsTheLastOfEachAndTheDefaultsOfTheRest) {
    const auto fields = [](const CommandLine& line) {
        return std::tuple(line.port, line.token, line.tokenFile, line.executablePath, line.prompt,
                          line.command);
    };
    EXPECT_EQ(fields(parse({})),
              std::tuple(47824, "env-token", "/default/file", std::nullopt, true, std::nullopt));
    EXPECT_EQ(fields(parse({"--port", "1", "install", "--token", " a ", "--no-prompt", "--token-file", "f",
                            "--executable-path", "e", "--token", "", "--port", "2", "--unknown"})),
              std::tuple(2, "", "f", "e", false, "--unknown"));
}

}  // namespace
}  // namespace varkel
