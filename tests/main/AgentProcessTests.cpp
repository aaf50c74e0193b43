#include <gmock/gmock.h>

#include <csignal>
#include <memory>

#include "http/HTTPServer.h"
#include "http/Listener.h"
#include "support/ChildAgent.h"
#include "support/RawClient.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

using test::ChildAgent;
using test::RawClient;

/// An empty home directory for the agents of one test, and a port that was free a moment ago.
class AgentProcess : public testing::Test {
  protected:
    std::string usage() const {
        return "Usage: varkel-agent [options] [install|permissions]\n"
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
    }

    std::vector<std::string> environment() const { return {"HOME=" + home.path().string()}; }

    static std::uint16_t freePort() {
        boost::asio::io_context context;
        Listener listener(context);
        listener.listen(0);
        return listener.port();
    }

    /// An agent that listens on the port with these further arguments and variables.
    std::unique_ptr<ChildAgent> start(std::vector<std::string> arguments = {"--token", "t"},
                                      const std::vector<std::string>& variables = {}) const {
        arguments.insert(arguments.end(), {"--port", std::to_string(port)});
        auto all = environment();
        all.insert(all.end(), variables.begin(), variables.end());
        auto agent = std::make_unique<ChildAgent>(arguments, all);
        EXPECT_EQ(agent->readLine(), "Server listening on 127.0.0.1:" + std::to_string(port));
        return agent;
    }

    test::TemporaryFolder home;
    const std::uint16_t port = freePort();
};

constexpr const char* health = "GET /health x\r\n\r\n";
constexpr const char* served = "HTTP/1.1 200 OK";

TEST_F(AgentProcess, EndsWithTheMessageAndTheStatus) {
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string output;
    };
    const std::string missing =
        "Error: --token, $QUELLAN_VARKEL_SIDECAR_TOKEN, or --token-file is required\n" + usage();
    const std::string nothingGranted =
        "executable=" VARKEL_AGENT_BINARY
        "\naccessibility=missing\nscreen_recording=missing\n"
        "hint_accessibility=System Settings -> Privacy & Security -> Accessibility\n"
        "hint_screen_recording=System Settings -> Privacy & Security -> Screen Recording\n";
    const std::string blank = home.write("blank", " \r\n\t");
    const std::string invalid = home.write("invalid", "abc\xFF");
    const std::vector<Case> cases{
        {{"--help"}, 0, usage()},
        {{"--port", "abc"}, 1, usage()},
        {{}, 1, missing},
        {{"--token", ""}, 1, missing},
        {{"--token-file", blank}, 1, missing},
        {{"--token-file", invalid}, 1, missing},
        {{"--token-file", "/dev/zero"}, 1, missing},
        {{"--token-file", home.path().string()}, 1, missing},
        {{"--port", "-1"}, 1, missing},
        {{"--token", "t", "--port", "-1"}, 1, usage()},
        {{"--token", "t", "--port", "65536"}, 1, usage()},
        {{"foo"}, 1, "Unknown command: foo\n" + usage()},
        {{"install", "--Help"}, 1, "Unknown command: --Help\n" + usage()},
        {{"install", ""}, 1, "Unknown command: \n" + usage()},
        {{"install", "permissions"}, 3, nothingGranted},
        {{"permissions", "--no-prompt"}, 3, nothingGranted},
        {{"--token-file", "/x", "install"},
         1,
         "Fatal error: cannot read the token file /x: No such file or directory\n"},
    };
    for (const Case& c : cases) {
        ChildAgent agent(c.arguments, environment());
        EXPECT_EQ(agent.readAll(), c.output) << testing::PrintToString(c.arguments);
        EXPECT_EQ(agent.wait(), c.status) << testing::PrintToString(c.arguments);
    }
}

TEST_F(AgentProcess, FindsItsTokenInOrder) {
    const std::string padded = home.write("padded", " \t abc \r\n\u2028");
    home.write("Vault-Quellan/secrets/varkel/sidecar-token", "from-default\n");
    const struct {
        std::vector<std::string> arguments, variables;
        std::string token;
    } cases[] = {
        {{}, {}, "from-default"},
        {{}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=from-variable"}, "from-variable"},
        {{"--token", "from-option"}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=from-variable"}, "from-option"},
        {{"--token-file", padded}, {}, "abc"},
        {{"--token", ""},
         {"QUELLAN_VARKEL_SIDECAR_TOKEN=x", "QUELLAN_VARKEL_SIDECAR_TOKEN_FILE=" + padded},
         "abc"},
        {{"--token-file", padded}, {"QUELLAN_VARKEL_SIDECAR_TOKEN_FILE=/nowhere"}, "abc"},
    };
    for (const auto& c : cases) {
        const auto agent = start(c.arguments, c.variables);
        RawClient client(port);
        EXPECT_EQ(client.request("GET /x y\r\nX-Varkel-Token: " + c.token + "\r\n\r\n").status(), 404)
            << c.token;
        EXPECT_EQ(client.request("GET /x y\r\nX-Varkel-Token: x" + c.token + "\r\n\r\n").status(), 401);
    }
    // One from the option is kept as it is.
    const auto agent = start({"--token", "abc\n"});
    EXPECT_EQ(RawClient(port).request("GET /x y\r\nX-Varkel-Token: abc\r\n\r\n").status(), 401);
}

TEST_F(AgentProcess, StaysUpWhenThePortIsTaken) {
    const auto first = start();
    ChildAgent second({"--token", "t", "--port", std::to_string(port)}, environment());
    EXPECT_THAT(second.readLine(), testing::Optional(testing::StartsWith("Server failed: ")));
    EXPECT_TRUE(second.isRunning());
    EXPECT_EQ(RawClient(port).request(health).statusLine, served);
}

TEST_F(AgentProcess, TakesItsPortAgainRightAfterItWasKilled) {
    std::optional<RawClient> client;
    for (int life = 0; life < 3; ++life) {
        const auto agent = start();
        // Its connection is open when the agent is killed.
        client.emplace(port);
        EXPECT_EQ(client->request(health).statusLine, served);
    }
}

TEST_F(AgentProcess, KeepsTheTokenFromWhatItStarts) {
    home.write(".config/varkel/shortcuts/Variables", "#!/bin/sh\nenv\n", 0700);
    const auto agent = start({}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=hidden", "PATH=/usr/bin:/bin", "SHOWN=1"});
    const std::string request =
        "POST /shortcut HTTP/1.1\r\nx-varkel-token: hidden\r\nContent-Length: "
        "20\r\n\r\n{\"name\":\"Variables\"}";
    const std::string answer = RawClient(port).request(request).body;
    EXPECT_THAT(answer, testing::HasSubstr("SHOWN=1"));
    EXPECT_THAT(answer, testing::Not(testing::HasSubstr("hidden")));
}

TEST_F(AgentProcess, SeesAChildFailWhateverItWasStartedBy) {
    home.write(".config/varkel/shortcuts/Fails", "#!/bin/sh\nexit 3\n", 0700);
    auto* const disposition = std::signal(SIGCHLD, SIG_IGN);
    const auto agent = start();
    std::signal(SIGCHLD, disposition);
    const std::string request =
        "POST /shortcut HTTP/1.1\r\nx-varkel-token: t\r\nContent-Length: 16\r\n\r\n{\"name\":\"Fails\"}";
    EXPECT_EQ(RawClient(port).request(request).body,
              R"({"error":"shortcut_failed","exitCode":3,"stderr":"","stdout":""})");
}

TEST_F(AgentProcess, SurvivesAShortageOfFileDescriptors) {
    const auto agent = start();
    RawClient early(port);
    EXPECT_EQ(early.request(health).statusLine, served);

    agent->limitDescriptors(30);
    std::vector<RawClient> clients;
    for (int i = 0; i < 40; ++i) clients.emplace_back(port).send(health);
    // Accepted in order: the last one waits, and those that are served do not suffer.
    EXPECT_TRUE(clients.back().isQuiet());
    EXPECT_EQ(early.request(health).statusLine, served);
    EXPECT_EQ(clients.front().receive().value().statusLine, served);
    clients.erase(clients.begin(), clients.begin() + 30);
    for (RawClient& waiting : clients) EXPECT_EQ(waiting.receive().value().statusLine, served);
}

}  // namespace
}  // namespace varkel
