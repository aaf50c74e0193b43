#include <gmock/gmock.h>

#include <csignal>

#include "platform/ChildProcess.h"
#include "platform/linux/applescript/ShortcutFolder.h"
#include "platform/posix/SystemToolPaths.h"
#include "support/Deadline.h"
#include "support/Processes.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

using testing::ElementsAre;
namespace fs = std::filesystem;

class Tools : public testing::Test {
  protected:
    void write(const std::string& name, const std::string& content, mode_t mode = 0700) {
        folder_.write(name, content, mode);
    }

    /// The tool itself, with this folder as the person's configuration.
    ChildResult shortcuts(std::vector<std::string> arguments, std::string input = {}) {
        ChildCommand command;
        command.executable = "/usr/bin/env";
        command.arguments = {"XDG_CONFIG_HOME=" + path_.string(), VARKEL_SHORTCUTS};
        command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
        command.input = std::move(input);
        return runChild(std::move(command));
    }

    TemporaryFolder folder_;
    const fs::path path_ = folder_.path();
};

TEST_F(Tools, ShortcutsAreTheExecutableFilesOfAFolder) {
    EXPECT_THAT(ShortcutFolder(path_ / "none").names(), ElementsAre());
    write("b.sh", "");
    write("b.py", "");
    write("Two words.tar.sh", "");
    write("plain", "");
    write("notes.txt", "", 0600);
    write(".hidden.sh", "");
    write("two\nlines.sh", "");
    write("\xFF.sh", "");
    fs::create_directory(path_ / "folder.sh");
    fs::create_symlink("plain", path_ / "link.x");
    const ShortcutFolder folder(path_);
    EXPECT_THAT(folder.names(), ElementsAre("Two words.tar", "b", "link", "plain"));
    EXPECT_EQ(folder.find("b"), path_ / "b.py");
    EXPECT_EQ(folder.find("link"), path_ / "link.x");
    for (const char* name :
         {"", ".", "..", "B", "b.py", "notes", ".hidden", "folder", "../", "./b", "folder/b"})
        EXPECT_EQ(folder.find(name), std::nullopt) << name;
}

TEST_F(Tools, ShortcutsRunAsTheProgramsThatTheyAre) {
    write("varkel/shortcuts/Shout it.sh", "#!/bin/sh\necho $#; tr a-z A-Z; echo e >&2; exit 5\n");
    write("varkel/shortcuts/bare", "cat; echo bare\n");
    write("varkel/shortcuts/broken", "#!/no/such/interpreter\n");
    EXPECT_EQ(shortcuts({"list"}).standardOutput, "Shout it\nbare\nbroken\n");

    const ChildResult shouted = shortcuts({"run", "Shout it"}, "hello\n");
    EXPECT_EQ(shouted.status, 5);
    EXPECT_EQ(shouted.standardOutput, "0\nHELLO\n");
    EXPECT_EQ(shouted.standardError, "e\n");
    EXPECT_EQ(shortcuts({"run", "bare"}, "in ").standardOutput, "in bare\n");

    const std::vector<std::string> refused[] = {
        {}, {"run"}, {"list", "x"}, {"run", "bare", "x"}, {"run", "../shortcuts/bare"}, {"run", "broken"}};
    for (const auto& arguments : refused) {
        const ChildResult result = shortcuts(arguments);
        EXPECT_NE(result.status, 0);
        EXPECT_EQ(result.standardOutput, "");
        EXPECT_NE(result.standardError, "");
    }
}

TEST_F(Tools, AShortcutEndsWithTheProcessThatStartedIt) {
    write("varkel/shortcuts/slow",
          "#!/bin/sh\ncd \"$(dirname \"$0\")\"\necho $$ > new\nmv new pid\nexec sleep 1000\n");
    ChildCommand command;
    command.executable = "/bin/sh";
    command.arguments = {"-c",
                         "XDG_CONFIG_HOME=" + path_.string() + " " + VARKEL_SHORTCUTS + " run slow & wait"};
    ChildProcess parent(std::move(command));
    ASSERT_TRUE(eventually([&] { return fs::exists(path_ / "varkel/shortcuts/pid"); }));
    pid_t shortcut = 0;
    std::ifstream(path_ / "varkel/shortcuts/pid") >> shortcut;
    parent.signal(SIGKILL);
    parent.wait();
    EXPECT_TRUE(eventually([&] { return !isAlive(shortcut); }));
}

TEST_F(Tools, StandInsAreFoundWhereTheyAreBuiltAndWhereTheyAreInstalled) {
    if (fs::exists("/usr/bin/osascript")) GTEST_SKIP() << "this system has the tool itself";
    write("bin/osascript", "no program", 0644);
    SystemToolPaths paths((path_ / "bin").string());
    EXPECT_EQ(paths.osascript(), "/usr/bin/osascript");
    write("lib/varkel-agent/osascript", "");
    EXPECT_TRUE(fs::equivalent(paths.osascript(), path_ / "lib/varkel-agent/osascript"));
    write("bin/osascript", "");
    EXPECT_TRUE(fs::equivalent(paths.osascript(), path_ / "bin/osascript"));
}

}  // namespace
}  // namespace varkel::test
