#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "http/HTTPServer.h"
#include "http/Listener.h"
#include "support/ChildAgent.h"
#include "support/Deadline.h"
#include "support/RawClient.h"

namespace varkel {
namespace {

using test::ChildAgent;
using test::RawClient;

/// An empty home directory for the agents of one test.
class AgentProcess : public testing::Test {
  protected:
    AgentProcess() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varkel-home-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
        home = pattern;
    }
    ~AgentProcess() override { std::filesystem::remove_all(home); }

    std::string usage() const {
        return "Usage: varkel-agent [options] [install|permissions]\n"
               "Options:\n"
               "  --port <port>            Listen port (default: 47824)\n"
               "  --token <token>          Auth token (default: $QUELLAN_VARKEL_SIDECAR_TOKEN)\n"
               "  --token-file <path>      Auth token file (default: " +
               home.string() +
               "/Vault-Quellan/secrets/varkel/sidecar-token)\n"
               "  --executable-path <path> Path to binary for LaunchAgent (default: "
               "Bundle.main.executablePath)\n"
               "  --no-prompt              Do not show macOS permission prompts\n"
               "Commands:\n"
               "  install                  Write LaunchAgent plist and load it\n"
               "  permissions              Check/request Accessibility and Screen Recording\n";
    }

    std::vector<std::string> environment() const { return {"HOME=" + home.string()}; }

    std::string write(const std::string& name, const std::string& text) const {
        const auto path = home / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
        return path.string();
    }

    /// A port that was free a moment ago.
    static std::uint16_t freePort() {
        boost::asio::io_context context;
        Listener listener(context);
        listener.listen(0);
        return listener.port();
    }

    std::filesystem::path home;
};

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
    const std::string blank = write("blank", " \r\n\t");
    const std::string invalid = write("invalid", "abc\xFF");
    const std::vector<Case> cases{
        {{"--help"}, 0, usage()},
        {{"--port", "8080", "--token-file", "x", "-h"}, 0, usage()},
        {{"--port", "abc"}, 1, usage()},
        {{"--token"}, 1, usage()},
        {{}, 1, missing},
        {{"--token", ""}, 1, missing},
        {{"--token-file", blank}, 1, missing},
        {{"--token-file", invalid}, 1, missing},
        {{"--token-file", "/dev/zero"}, 1, missing},
        {{"--token-file", home.string()}, 1, missing},
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
    const std::string padded = write("padded", " \t abc \r\n\u2028");
    write("Vault-Quellan/secrets/varkel/sidecar-token", "from-default\n");
    struct Case {
        std::vector<std::string> arguments, variables;
        std::string token;
    };
    const std::vector<Case> cases{
        {{}, {}, "from-default"},
        {{}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=from-variable"}, "from-variable"},
        {{"--token", "from-option"}, {"QUELLAN_VARKEL_SIDECAR_TOKEN=from-variable"}, "from-option"},
        {{"--token-file", padded}, {}, "abc"},
        {{"--token", ""},
         {"QUELLAN_VARKEL_SIDECAR_TOKEN=x", "QUELLAN_VARKEL_SIDECAR_TOKEN_FILE=" + padded},
         "abc"},
        {{"--token-file", padded}, {"QUELLAN_VARKEL_SIDECAR_TOKEN_FILE=/nowhere"}, "abc"},
    };
    for (const Case& c : cases) {
        const std::uint16_t port = freePort();
        auto arguments = c.arguments;
        arguments.insert(arguments.end(), {"--port", std::to_string(port)});
        auto variables = environment();
        variables.insert(variables.end(), c.variables.begin(), c.variables.end());
        ChildAgent agent(arguments, variables);
        EXPECT_EQ(agent.readLine(), "Server listening on 127.0.0.1:" + std::to_string(port));
        RawClient client(port);
        EXPECT_EQ(client.request("GET /x y\r\nX-Varkel-Token: " + c.token + "\r\n\r\n").statusLine,
                  "HTTP/1.1 404 Not Found")
            << c.token;
        EXPECT_EQ(client.request("GET /x y\r\nX-Varkel-Token: x" + c.token + "\r\n\r\n").statusLine,
                  "HTTP/1.1 401 Unauthorized");
    }
}

TEST_F(AgentProcess, KeepsATokenFromTheOptionAsItIs) {
    const std::uint16_t port = freePort();
    ChildAgent agent({"--token", "abc\n", "--port", std::to_string(port)}, environment());
    ASSERT_TRUE(agent.readLine());
    EXPECT_EQ(RawClient(port).request("GET /x y\r\nX-Varkel-Token: abc\r\n\r\n").statusLine,
              "HTTP/1.1 401 Unauthorized");
}

TEST_F(AgentProcess, StaysUpWhenThePortIsTaken) {
    const std::uint16_t port = freePort();
    const std::vector<std::string> arguments{"--token", "t", "--port", std::to_string(port)};
    ChildAgent first(arguments, environment());
    ASSERT_TRUE(first.readLine());
    ChildAgent second(arguments, environment());
    EXPECT_THAT(second.readLine(), testing::Optional(testing::StartsWith("Server failed: ")));
    EXPECT_TRUE(second.isRunning());
    EXPECT_EQ(RawClient(port).request("GET /health x\r\n\r\n").statusLine, "HTTP/1.1 200 OK");
}

TEST_F(AgentProcess, TakesItsPortAgainRightAfterItWasKilled) {
    const std::uint16_t port = freePort();
    std::optional<RawClient> client;
    for (int life = 0; life < 3; ++life) {
        ChildAgent agent({"--token", "t", "--port", std::to_string(port)}, environment());
        ASSERT_EQ(agent.readLine(), "Server listening on 127.0.0.1:" + std::to_string(port));
        // Its connection is open when the agent is killed.
        client.emplace(port);
        EXPECT_EQ(client->request("GET /health x\r\n\r\n").statusLine, "HTTP/1.1 200 OK");
    }
}

TEST_F(AgentProcess, KeepsTheTokenFromWhatItStarts) {
    write(".config/varkel/shortcuts/Variables", "#!/bin/sh\nenv\n");
    std::filesystem::permissions(home / ".config/varkel/shortcuts/Variables",
                                 std::filesystem::perms::owner_all);
    std::vector<std::string> variables = environment();
    variables.insert(variables.end(),
                     {"QUELLAN_VARKEL_SIDECAR_TOKEN=hidden", "PATH=/usr/bin:/bin", "SHOWN=1"});
    const std::uint16_t port = freePort();
    ChildAgent agent({"--port", std::to_string(port)}, variables);
    ASSERT_TRUE(agent.readLine());
    const std::string answer = RawClient(port)
                                   .request(
                                       "POST /shortcut HTTP/1.1\r\nx-varkel-token: hidden\r\n"
                                       "Content-Length: 20\r\n\r\n{\"name\":\"Variables\"}")
                                   .body;
    EXPECT_THAT(answer, testing::HasSubstr("SHOWN=1"));
    EXPECT_THAT(answer, testing::Not(testing::HasSubstr("hidden")));
}

TEST_F(AgentProcess, SurvivesAShortageOfFileDescriptors) {
    const std::uint16_t port = freePort();
    ChildAgent agent({"--token", "t", "--port", std::to_string(port)}, environment());
    ASSERT_TRUE(agent.readLine());
    const std::string health = "GET /health x\r\n\r\n";
    RawClient served(port);
    EXPECT_EQ(served.request(health).statusLine, "HTTP/1.1 200 OK");

    agent.limitDescriptors(30);
    std::vector<RawClient> clients;
    for (int i = 0; i < 40; ++i) clients.emplace_back(port).send(health);
    // Accepted in order: the last one waits, and those that are served do not suffer.
    EXPECT_TRUE(clients.back().isQuiet());
    EXPECT_EQ(served.request(health).statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(clients.front().receive().value().statusLine, "HTTP/1.1 200 OK");
    clients.erase(clients.begin(), clients.begin() + 30);
    for (RawClient& waiting : clients) EXPECT_EQ(waiting.receive().value().statusLine, "HTTP/1.1 200 OK");
}

}  // namespace
}  // namespace varkel
