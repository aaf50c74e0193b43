#include <gmock/gmock.h>

#include "main/CommandLine.h"

namespace varkel {
namespace {

using Outcome = CommandLine::Outcome;

CommandLine parse(const std::vector<std::string>& arguments) {
    return parseCommandLine(arguments, TokenSource{"env-token", "/default/file"});
}

TEST(CommandLine, EndsAtTheFirstArgumentThatEndsTheProgram) {
    const std::vector<std::pair<std::vector<std::string>, Outcome>> cases{
        {{}, Outcome::run},
        {{"--help"}, Outcome::usage},
        {{"-h", "--port"}, Outcome::usage},
        {{"--port", "8080", "--help"}, Outcome::usage},
        {{"--port", "abc", "--help"}, Outcome::usageError},
        {{"--port"}, Outcome::usageError},
        {{"--token"}, Outcome::usageError},
        {{"--token-file"}, Outcome::usageError},
        {{"--executable-path"}, Outcome::usageError},
        {{"--port", "--help"}, Outcome::usageError},
        {{"--token", "--help"}, Outcome::run},
        {{"foo", "--Help"}, Outcome::run},
    };
    for (const auto& [arguments, outcome] : cases) {
        EXPECT_EQ(parse(arguments).outcome, outcome) << testing::PrintToString(arguments);
    }
}

TEST(CommandLine, KeepsTheLastOfEachAndTheDefaultsOfTheRest) {
    const CommandLine plain = parse({});
    EXPECT_EQ(plain.port, 47824);
    EXPECT_EQ(plain.token, "env-token");
    EXPECT_EQ(plain.tokenFile, "/default/file");
    EXPECT_EQ(plain.executablePath, std::nullopt);
    EXPECT_TRUE(plain.prompt);
    EXPECT_EQ(plain.command, std::nullopt);

    const CommandLine full =
        parse({"--port", "1", "install", "--token", " a ", "--no-prompt", "--token-file", "f",
               "--executable-path", "e", "--token", "", "--port", "2", "--unknown"});
    EXPECT_EQ(full.port, 2);
    EXPECT_EQ(full.token, "");
    EXPECT_EQ(full.tokenFile, "f");
    EXPECT_EQ(full.executablePath, "e");
    EXPECT_FALSE(full.prompt);
    EXPECT_EQ(full.command, "--unknown");
}

}  // namespace
}  // namespace varkel
