#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "base/ReadFile.h"
#include "support/TemporaryFolder.h"

namespace varkel {
namespace {

TEST(ReadFile, TakesWholeFilesUpToTheLimitAndSaysWhatIsWrongWithOthers) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "file";
    std::ofstream(path) << std::string(10'000, 'x');
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        std::size_t limit;
        FileKind kind;
        std::error_code error;
        std::size_t size;
    } cases[] = {
        {path, 10'000, FileKind::regular, {}, 10'000},
        {path, 9'999, FileKind::regular, make_error_code(std::errc::file_too_large), 0},
        {path, 9'999, FileKind::any, make_error_code(std::errc::file_too_large), 0},
        {"/dev/null", 10, FileKind::any, {}, 0},
        {"/dev/null", 10, FileKind::regular, make_error_code(std::errc::invalid_argument), 0},
        {"/dev/zero", 100'000, FileKind::any, make_error_code(std::errc::file_too_large), 0},
        {folder / "pipe", 10, FileKind::regular, make_error_code(std::errc::invalid_argument), 0},
        {folder / "none", 10, FileKind::regular, make_error_code(std::errc::no_such_file_or_directory), 0},
        {path + '\0' + "x", 10, FileKind::any, make_error_code(std::errc::invalid_argument), 0},
        // Its size is not told beforehand.
        {"/proc/self/status", 1'000'000, FileKind::regular, {}, 1},
    };
    for (const auto& each : cases) {
        std::string bytes;
        EXPECT_EQ(readFile(each.path, each.limit, each.kind, bytes), each.error) << each.path;
        EXPECT_GE(each.error ? 0 : bytes.size(), each.size) << each.path;
        EXPECT_EQ(readRegularFile(each.path, each.limit).has_value(),
                  !each.error && each.kind == FileKind::regular)
            << each.path;
    }
}

}  // namespace
}  // namespace varkel
