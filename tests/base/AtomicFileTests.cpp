#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "base/AtomicFile.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {
namespace {

using testing::ElementsAre;

/// Files of this process end at `bytes`, as on a full disk, until the end of the scope.
class FullDisk {
  public:
    explicit FullDisk(rlim_t bytes) {
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

  private:
    rlimit before_{};
    void (*handler_)(int) = nullptr;
};

TEST(AtomicFile, ReplacesWhateverHasTheNameAndItsMode) {
    const TemporaryFolder folder;
    const std::string path = folder.write("list", "old", 0644);
    const mode_t mask = ::umask(0277);
    writeFileAtomically(path, "new", 0600);
    ::umask(mask);
    EXPECT_EQ(contents(path), "new");
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_THAT(folder.files(), ElementsAre("list"));
}

TEST(AtomicFile, DoesNotWriteThroughALinkAndLeavesNothingBehindWhenItCannotTakeTheName) {
    const TemporaryFolder folder;
    const std::string other = folder.write("other", "theirs");
    std::filesystem::create_symlink(other, folder / "list");
    writeFileAtomically(folder / "list", "mine", 0600);
    EXPECT_EQ(contents(other), "theirs");
    EXPECT_EQ(contents(folder / "list"), "mine");
    folder.write("taken/inside", "");
    EXPECT_THROW(writeFileAtomically(folder / "taken", "text", 0600), std::system_error);
    EXPECT_THAT(folder.files(), ElementsAre("list", "other", "taken/inside"));
}

TEST(AtomicFile, LeavesWhatWasThereWhenTheDiskIsFull) {
    const TemporaryFolder folder;
    const std::string path = folder.write("list", "old");
    {
        const FullDisk full(1'000);
        EXPECT_THROW(writeFileAtomically(path, std::string(100'000, 'x'), 0600), std::system_error);
    }
    EXPECT_EQ(contents(path), "old");
    EXPECT_THAT(folder.files(), ElementsAre("list"));
}

}  // namespace
}  // namespace varkel::test
