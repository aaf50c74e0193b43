#include <gmock/gmock.h>
#include <unistd.h>

#include "platform/ChildProcess.h"
#include "platform/PropertyList.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

using test::contents;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* unit = "home/.config/systemd/user/io.example.agent.service";
constexpr const char* variables = "home/.config/varkel-agent/io.example.agent.env";
constexpr const char* autostart = "home/.config/autostart/io.example.agent.desktop";

/// The tool as a process, with a home directory of its own and a systemctl that notes how it is called.
class Launchctl : public testing::Test {
  protected:
    Launchctl() { writeList({{"Label", "io.example.agent"}}); }

    void writeList(boost::json::object list) {
        list.emplace("ProgramArguments", boost::json::array{"/bin/sh", "-c", "echo \"$T\"; echo oops >&2"});
        list.emplace("RunAtLoad", true);
        list.emplace("KeepAlive", true);
        list.emplace("StandardOutPath", folder / "out.log");
        list.emplace("EnvironmentVariables", boost::json::object{{"T", "secret"}});
        folder.write("a.plist", serializePropertyList(list), 0600);
    }

    void useSystemctl(const std::string& body) {
        folder.write("bin/systemctl",
                     "#!/bin/sh\nshift 3\necho \"$@\" >>'" + folder / "calls" + "'\n" + body + "\n", 0755);
    }

    ChildResult run(const std::vector<std::string>& words) const {
        ChildCommand command;
        command.executable = "/usr/bin/env";
        command.arguments = {"-i", "HOME=" + folder / "home", "PATH=" + folder / "bin",
                             VARKEL_LAUNCHCTL_BINARY};
        command.arguments.insert(command.arguments.end(), words.begin(), words.end());
        return runChild(std::move(command));
    }

    std::string list() const { return folder / "a.plist"; }
    bool exists(const char* name) const { return std::filesystem::exists(folder.path() / name); }

    test::TemporaryFolder folder;
};

TEST_F(Launchctl, LoadsAUnitAndUndoesThat) {
    useSystemctl("exit 0");
    const ChildResult loaded = run({"load", "-w", list()});
    EXPECT_EQ(loaded.status, 0) << loaded.standardError;
    EXPECT_EQ(loaded.standardOutput, "");
    EXPECT_THAT(loaded.standardError, HasSubstr("systemd user unit " + folder / unit));
    EXPECT_EQ(contents(folder / "calls"),
              "show --property=Version\n--quiet is-active graphical-session.target\ndaemon-reload\nenable " +
                  folder / unit + "\nrestart io.example.agent.service\n");
    EXPECT_THAT(contents(folder / variables), HasSubstr("T=\"secret\"\n"));
    EXPECT_EQ(test::modeOf(folder / variables), 0600U);
    EXPECT_THAT(contents(folder / unit), testing::Not(HasSubstr("secret")));
    EXPECT_FALSE(exists(autostart));

    std::filesystem::remove(folder / "calls");
    EXPECT_THAT(run({"unload", "-w", list()}).standardError, HasSubstr("Removed the systemd user unit"));
    EXPECT_EQ(contents(folder / "calls"),
              "show --property=Version\ndisable --now io.example.agent.service\ndaemon-reload\n");
    EXPECT_THAT(folder.files(), ElementsAre("a.plist", "bin/systemctl", "calls"));
}

TEST_F(Launchctl, LeavesNoTokenWhenTheManagerDoesNotReload) {
    useSystemctl("[ \"$1\" != daemon-reload ] || { echo no reload >&2; exit 1; }");
    const ChildResult loaded = run({"load", "-w", list()});
    EXPECT_EQ(loaded.status, 1);
    EXPECT_EQ(loaded.standardError, "launchctl: systemctl --user daemon-reload failed: no reload\n");
    EXPECT_THAT(folder.files(), ElementsAre("a.plist", "bin/systemctl", "calls"));

    // The reason is the first failure, not that of the clean-up.
    const std::string mark = folder / "mark";
    useSystemctl("case $1 in enable) echo no such thing >&2; : >'" + mark +
                 "'; exit 1;; daemon-reload) [ ! -e '" + mark + "' ];; esac");
    const ChildResult second = run({"load", "-w", list()});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.standardError, "launchctl: systemctl --user enable failed: no such thing\n");
    EXPECT_THAT(folder.files(), ElementsAre("a.plist", "bin/systemctl", "calls", "mark"));
}

TEST_F(Launchctl, FallsBackToAutostartAndUndoesThat) {
    // None at all, one without a manager, and one that hangs.
    for (const char* body : {"", "exit 1", "exec /bin/sleep 60"}) {
        if (*body != '\0') useSystemctl(body);
        const ChildResult loaded = run({"load", "-w", list()});
        EXPECT_EQ(loaded.status, 0) << loaded.standardError;
        EXPECT_THAT(loaded.standardError, HasSubstr("No systemd user manager answers"));
        EXPECT_TRUE(exists(autostart));
        EXPECT_THAT(contents(folder / autostart), testing::Not(HasSubstr("secret")));
        EXPECT_FALSE(exists(unit));
        EXPECT_THAT(run({"unload", "-w", list()}).standardError, HasSubstr("Removed the autostart entry"));
        EXPECT_FALSE(exists(autostart));
    }
    EXPECT_EQ(run({"unload", "-w", list()}).standardError, "");
}

TEST_F(Launchctl, TouchesNoFileThatItHasNotWritten) {
    useSystemctl("exit 0");
    folder.write(unit, "[Service]\nExecStart=/bin/theirs\n");
    EXPECT_EQ(run({"load", "-w", list()}).status, 1);
    EXPECT_EQ(run({"unload", "-w", list()}).status, 0);
    EXPECT_EQ(contents(folder / unit), "[Service]\nExecStart=/bin/theirs\n");
    EXPECT_THAT(contents(folder / "calls"), testing::Not(HasSubstr("disable")));
}

TEST_F(Launchctl, RefusesWhatItCannotRead) {
    folder.write("broken", "<plist");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::string file = folder / "broken";
    const std::vector<std::vector<std::string>> cases{{},
                                                      {"load"},
                                                      {"bootstrap", list()},
                                                      {"load", "-x", list()},
                                                      {"load", "-w", folder / "nothing"},
                                                      {"load", "/dev/zero"},
                                                      {"load", folder / "pipe"},
                                                      {"load", folder.path().string()},
                                                      {"unload", file},
                                                      {"run", file}};
    for (const auto& words : cases) {
        const ChildResult result = run(words);
        EXPECT_EQ(result.status, 1) << testing::PrintToString(words);
        EXPECT_NE(result.standardError, "");
        EXPECT_FALSE(exists("home"));
    }
}

TEST_F(Launchctl, RunsTheProgramWithItsEnvironmentAndItsLogs) {
    const ChildResult first = run({"run", list()});
    EXPECT_EQ(first.standardOutput, "");
    EXPECT_EQ(first.standardError, "oops\n");
    run({"run", list()});
    EXPECT_EQ(contents(folder / "out.log"), "secret\nsecret\n");

    // A link in a folder that is open to all may lead to another user's file.
    const std::string theirs = folder.write("theirs", "");
    std::filesystem::remove(folder / "out.log");
    std::filesystem::create_symlink(theirs, folder / "out.log");
    EXPECT_EQ(run({"run", list()}).standardOutput, "secret\n");
    EXPECT_EQ(contents(theirs), "");
}

}  // namespace
}  // namespace varkel
