#include <gmock/gmock.h>

#include <numeric>

#include "main/LaunchAgent.h"
#include "main/PermissionCheck.h"
#include "platform/ChildProcess.h"
#include "platform/PropertyList.h"
#include "support/FakeDesktop.h"
#include "support/FakeToolPaths.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

using testing::IsEmpty;

constexpr const char* listName = "Library/LaunchAgents/io.github.varkel.varkel-agent.plist";
constexpr const char* waiting =
    "Accessibility permission is required for varkel-agent.\n"
    "Opening System Settings \u2192 Privacy & Security \u2192 Accessibility\u2026\n";

/// Time passes only in sleep().
class SteppingClock : public Clock {
  public:
    double timeIntervalSince1970() override { return 0; }
    std::chrono::steady_clock::time_point now() override { return start + std::chrono::seconds(slept()); }
    void sleep(std::chrono::seconds duration) override {
        sleeps.push_back(static_cast<int>(duration.count()));
        if (afterSleep) afterSleep();
    }

    int slept() const { return std::accumulate(sleeps.begin(), sleeps.end(), 0); }

    const std::chrono::steady_clock::time_point start{};
    std::vector<int> sleeps;
    std::function<void()> afterSleep;
};

/// Permissions that are not asked for and not there; notes which settings were opened.
struct NoPermissions : Permissions {
    bool AXIsProcessTrustedWithOptions(TrustPrompt) override { return false; }
    bool CGPreflightScreenCaptureAccess() override { return false; }
    bool CGRequestScreenCaptureAccess() override { return false; }
    void openSettings(SettingsPane pane) override { opened.push_back(pane); }
    std::vector<SettingsPane> opened;
};

/// A home directory, and a service manager's tool that notes how it is called.
class LaunchAgent : public testing::Test {
  protected:
    LaunchAgent() {
        auto ownedClock = std::make_unique<SteppingClock>();
        auto ownedPermissions = std::make_unique<NoPermissions>();
        clock = ownedClock.get();
        permissions = ownedPermissions.get();
        Platform::current().clock = std::move(ownedClock);
        Platform::current().permissions = std::move(ownedPermissions);
        useTool("exit 0");
    }

    void useTool(const std::string& ending) {
        const std::string path =
            folder.write("launchctl", "#!/bin/sh\necho \"$@\" >>\"$0.calls\"\n" + ending + "\n", 0755);
        Platform::current().toolPaths = std::make_unique<FakeToolPaths>(path);
    }

    std::string calls() const { return contents(folder / "launchctl.calls"); }
    std::string list() const { return home() + "/" + listName; }
    std::string home() const { return folder / "home"; }

    /// What installing prints; what it throws comes through.
    std::string install(const std::string& token = "secret", std::int64_t port = 47824) {
        testing::internal::CaptureStdout();
        try {
            installLaunchAgent(port, token, "/opt/varkel-agent", home());
        } catch (...) {
            printed = testing::internal::GetCapturedStdout();
            throw;
        }
        return testing::internal::GetCapturedStdout();
    }

    FakeDesktop desktop;
    TemporaryFolder folder;
    SteppingClock* clock = nullptr;
    NoPermissions* permissions = nullptr;
    std::string printed;
};

TEST_F(LaunchAgent, WritesTheListForItsOwnerAloneAndLoadsIt) {
    EXPECT_EQ(install("secret", 8080), "Wrote plist to " + list() + "\nLaunchAgent loaded successfully.\n");
    const boost::json::object expected{
        {"Label", "io.github.varkel.varkel-agent"},
        {"ProgramArguments", {"/opt/varkel-agent", "--port", "8080"}},
        {"RunAtLoad", true},
        {"KeepAlive", true},
        {"StandardOutPath", "/tmp/varkel-agent.log"},
        {"StandardErrorPath", "/tmp/varkel-agent.err"},
        {"EnvironmentVariables", {{"QUELLAN_VARKEL_SIDECAR_TOKEN", "secret"}}},
    };
    EXPECT_EQ(parsePropertyList(contents(list())), expected);
    EXPECT_EQ(modeOf(list()), 0600U);
    // The token is in the list, and on no command line.
    EXPECT_EQ(calls(), "unload -w " + list() + "\nload -w " + list() + "\n");
    EXPECT_THAT(permissions->opened, IsEmpty());
    EXPECT_THAT(clock->sleeps, IsEmpty());
}

TEST_F(LaunchAgent, GivesUpWhenThePermissionHasNotComeInTime) {
    desktop.trusted = false;
    EXPECT_THROW(install(), PermissionMissing);
    EXPECT_EQ(printed, waiting);
    EXPECT_EQ(clock->slept(), 300);
    EXPECT_FALSE(std::filesystem::exists(home()));
    EXPECT_EQ(calls(), "");

    // One that comes with the last look is in time.
    clock->sleeps.clear();
    clock->afterSleep = [this] { desktop.trusted = clock->slept() == 300; };
    EXPECT_THAT(install(), testing::StartsWith(waiting + std::string("Accessibility permission granted.\n")));
    EXPECT_EQ(clock->sleeps, std::vector<int>(150, 2));
    EXPECT_EQ(permissions->opened, (std::vector{SettingsPane::accessibility, SettingsPane::accessibility}));
}

TEST_F(LaunchAgent, WarnsWhenTheServiceManagerRefusesAndFailsWithoutItOrAFolder) {
    for (const auto& [ending, status] : {std::pair{"exit 37", "37"}, {"kill -9 $$", "9"}}) {
        useTool(std::string("[ $1 = unload ] || ") + ending);
        EXPECT_EQ(install(), "Wrote plist to " + list() + "\nWarning: launchctl load returned " + status +
                                 ".\nYou may need to enable the agent in System Settings -> Login Items.\n");
    }
    useTool("[ $1 = load ]");
    EXPECT_THAT(install(), testing::EndsWith("LaunchAgent loaded successfully.\n"));
    Platform::current().toolPaths = std::make_unique<FakeToolPaths>(folder / "nothing");
    EXPECT_THROW(install(), LaunchError);
    EXPECT_EQ(printed, "Wrote plist to " + list() + "\n");
    std::filesystem::remove_all(home());
    folder.write("home/Library", "a file");
    EXPECT_THROW(install(), std::system_error);
    EXPECT_EQ(printed, "");
}

TEST(LaunchedExecutable, IsTheFirstThatIsKnown) {
    EXPECT_EQ(launchedExecutable("/asked", "/running", "/home/x"), "/asked");
    EXPECT_EQ(launchedExecutable(std::nullopt, "/running", "/home/x"), "/running");
    EXPECT_EQ(launchedExecutable(std::nullopt, std::nullopt, "/home/x"), "/home/x/.local/bin/varkel-agent");
}

}  // namespace
}  // namespace varkel::test
