#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>

#include "http/Listener.h"
#include "platform/ChildProcess.h"
#include "support/Deadline.h"
#include "support/RawClient.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

using test::RawClient;

constexpr const char* health = "GET /health x\r\n\r\n";
constexpr const char* served = "HTTP/1.1 200 OK";

/// An empty home directory for the agents of one test, and a port that was free a moment ago.
class AgentProcess : public testing::Test {
  protected:
    static std::uint16_t freePort() {
        boost::asio::io_context context;
        Listener listener(context);
        listener.listen(0);
        return listener.port();
    }

    /// The agent with these arguments and variables beside HOME; `before` is what a shell does first.
    ChildCommand agent(const std::vector<std::string>& arguments, std::vector<std::string> variables = {},
                       const std::string& before = ":") const {
        ChildCommand command;
        command.executable = "/usr/bin/env";
        command.arguments = {"-i", "HOME=" + home.path().string()};
        variables.insert(variables.end(),
                         {"/bin/sh", "-c", before + "; exec \"$0\" \"$@\"", VARKEL_AGENT_BINARY});
        for (const auto& more : {variables, arguments})
            command.arguments.insert(command.arguments.end(), more.begin(), more.end());
        return command;
    }

    bool answers() const {
        try {
            return RawClient(port).request(health).statusLine == served;
        } catch (const std::exception&) {
            return false;
        }
    }

    /// An agent that listens on the port.
    std::unique_ptr<ChildProcess> start(std::vector<std::string> arguments = {"--token", "t"},
                                        const std::vector<std::string>& variables = {},
                                        const std::string& before = ":") const {
        arguments.insert(arguments.end(), {"--port", std::to_string(port)});
        auto child = std::make_unique<ChildProcess>(agent(arguments, variables, before));
        EXPECT_TRUE(test::eventually([&] { return answers(); }));
        return child;
    }

    std::string post(const std::string& path, const std::string& body) const {
        return RawClient(port).request(test::requestText("POST " + path, body, "x-varkel-token: t\r\n")).body;
    }

    test::TemporaryFolder home;
    const std::uint16_t port = freePort();
};

TEST_F(AgentProcess, EndsWithTheMessageAndTheStatus) {
    const std::string usage =
        "Usage: varkel-agent [options] [install|permissions]\n"
        "Options:\n"
        "  --port <port>            Listen port (default: 47824)\n"
        "  --token <token>          Auth token (default: $QUELLAN_VARKEL_SIDECAR_TOKEN)\n"
        "  --token-file <path>      Auth token file (default: " +
        home.path().string() +
        "/Vault-Quellan/secrets/varkel/sidecar-token)\n"
        "  --executable-path <path> Path to binary for LaunchAgent (default: "
        "Bundle.main.executablePath)\n"
        "  --no-prompt              Do not show macOS permission prompts\n"
        "Commands:\n"
        "  install                  Write LaunchAgent plist and load it\n"
        "  permissions              Check/request Accessibility and Screen Recording\n";
    const std::string missing =
        "Error: --token, $QUELLAN_VARKEL_SIDECAR_TOKEN, or --token-file is required\n" + usage;
    const std::string nothingGranted =
        "executable=" VARKEL_AGENT_BINARY
        "\naccessibility=missing\nscreen_recording=missing\n"
        "hint_accessibility=System Settings -> Privacy & Security -> Accessibility\n"
        "hint_screen_recording=System Settings -> Privacy & Security -> Screen Recording\n";
    const std::string blank = home.write("blank", " \r\n\t");
    const std::string invalid = home.write("invalid", "abc\xFF");
    const std::tuple<std::vector<std::string>, int, std::string> cases[] = {
        {{"--help"}, 0, usage},
        {{"--port", "abc"}, 1, usage},
        {{}, 1, missing},
        {{"--token-file", blank}, 1, missing},
        {{"--token-file", invalid}, 1, missing},
        {{"--token-file", "/dev/zero"}, 1, missing},
        {{"--token-file", home.path().string()}, 1, missing},
        {{"--token", "t", "--port", "-1"}, 1, usage},
        {{"--token", "t", "--port", "65536"}, 1, usage},
        {{"foo"}, 1, "Unknown command: foo\n" + usage},
        {{"install", "--Help"}, 1, "Unknown command: --Help\n" + usage},
        {{"install", "permissions"}, 3, nothingGranted},
        {{"permissions", "--no-prompt"}, 3, nothingGranted},
        {{"--token-file", "/x", "install"},
         1,
         "Fatal error: cannot read the token file /x: No such file or directory\n"},
    };
    for (const auto& [arguments, status, output] : cases) {
        const ChildResult result = runChild(agent(arguments));
        EXPECT_EQ(result.standardOutput, output) << testing::PrintToString(arguments);
        EXPECT_EQ(result.status, status) << testing::PrintToString(arguments);
    }
}

TEST_F(AgentProcess, FindsItsTokenInOrder) {
    const std::string padded = home.write("padded", " \t abc \r\n\u2028");
    home.write("Vault-Quellan/secrets/varkel/sidecar-token", "from-default\n");
    const std::tuple<std::vector<std::string>, std::vector<std::string>, std::string> cases[] = {
        {{}, {}, "from-default"},
        {{}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=from-variable"}, "from-variable"},
        {{"--token", "from-option"}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=from-variable"}, "from-option"},
        {{"--token-file", padded}, {}, "abc"},
        {{"--token", ""},
         {"QUELLAN_VARKEL_SIDECAR_TOKEN=x", "QUELLAN_VARKEL_SIDECAR_TOKEN_FILE=" + padded},
         "abc"},
        {{"--token-file", padded}, {"QUELLAN_VARKEL_SIDECAR_TOKEN_FILE=/nowhere"}, "abc"},
    };
    for (const auto& [arguments, variables, token] : cases) {
        const auto child = start(arguments, variables);
        RawClient client(port);
        EXPECT_EQ(client.request("GET /x y\r\nX-Varkel-Token: " + token + "\r\n\r\n").status(), 404) << token;
        EXPECT_EQ(client.request("GET /x y\r\nX-Varkel-Token: x" + token + "\r\n\r\n").status(), 401);
    }
    // One from the option is kept as it is.
    const auto child = start({"--token", "abc\n"});
    EXPECT_EQ(RawClient(port).request("GET /x y\r\nX-Varkel-Token: abc\r\n\r\n").status(), 401);
}

TEST_F(AgentProcess, TakesItsPortAgainRightAfterItWasKilled) {
    std::optional<RawClient> client;
    for (int life = 0; life < 3; ++life) {
        const auto child = start();
        // Its connection is open when the agent is killed.
        client.emplace(port);
        EXPECT_EQ(client->request(health).statusLine, served);
    }
}

TEST_F(AgentProcess, KeepsTheTokenFromWhatItStarts) {
    home.write(".config/varkel/shortcuts/Variables", "#!/bin/sh\nenv\n", 0700);
    const auto child = start({}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=t", "PATH=/usr/bin:/bin", "SHOWN=1"});
    const std::string answer = post("/shortcut", R"({"name":"Variables"})");
    EXPECT_THAT(answer, testing::HasSubstr("SHOWN=1"));
    EXPECT_THAT(answer, testing::Not(testing::HasSubstr("SIDECAR_TOKEN")));
}

TEST_F(AgentProcess, SeesAChildFailWhateverItWasStartedBy) {
    home.write(".config/varkel/shortcuts/Fails", "#!/bin/sh\nexit 3\n", 0700);
    const auto child = start({"--token", "t"}, {}, "trap '' CHLD");
    EXPECT_EQ(post("/shortcut", R"({"name":"Fails"})"),
              R"({"error":"shortcut_failed","exitCode":3,"stderr":"","stdout":""})");
}

}  // namespace
}  // namespace varkel
