#include <gmock/gmock.h>

#include "platform/posix/SystemToolPaths.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

TEST(SystemToolPaths, FindsAStandInBesideTheAgentOrWhereAnInstalledOneKeepsIt) {
    constexpr const char* fixed = "/bin/launchctl";
    if (std::filesystem::exists(fixed)) GTEST_SKIP() << "the system's own tool comes first";
    const test::TemporaryFolder folder;
    folder.write("bin/launchctl", "no program", 0644);
    SystemToolPaths paths(folder / "bin");
    EXPECT_EQ(paths.launchctl(), fixed);
    const std::string installed = folder.write("lib/varkel-agent/launchctl", "", 0755);
    EXPECT_TRUE(std::filesystem::equivalent(paths.launchctl(), installed));
    const std::string beside = folder.write("bin/launchctl", "", 0755);
    EXPECT_EQ(paths.launchctl(), beside);
}

}  // namespace
}  // namespace varkel
