#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "base/ReadFile.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {

TEST(ReadFile, TakesWholeFilesUpToTheLimitAndSaysWhatIsWrongWithOthers) {
    const TemporaryFolder folder;
    const std::string file = folder / "file";
    std::ofstream(file) << std::string(10'000, 'x');
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::tuple<std::string, std::size_t, FileKind, std::error_code, std::size_t> cases[] = {
        {file, 10'000, FileKind::regular, {}, 10'000},
        {file, 9'999, FileKind::regular, make_error_code(std::errc::file_too_large), 0},
        {file, 9'999, FileKind::any, make_error_code(std::errc::file_too_large), 0},
        {"/dev/null", 10, FileKind::any, {}, 0},
        {"/dev/null", 10, FileKind::regular, make_error_code(std::errc::invalid_argument), 0},
        {"/dev/zero", 100'000, FileKind::any, make_error_code(std::errc::file_too_large), 0},
        {folder / "pipe", 10, FileKind::regular, make_error_code(std::errc::invalid_argument), 0},
        {folder / "none", 10, FileKind::regular, make_error_code(std::errc::no_such_file_or_directory), 0},
        {file + '\0' + "x", 10, FileKind::any, make_error_code(std::errc::invalid_argument), 0},
        // Its size is not told beforehand.
        {"/proc/self/status", 1'000'000, FileKind::regular, {}, 1},
    };
    for (const auto& [path, limit, kind, error, size] : cases) {
        std::string bytes;
        EXPECT_EQ(readFile(path, limit, kind, bytes), error) << path;
        EXPECT_GE(error ? 0 : bytes.size(), size) << path;
        EXPECT_EQ(readRegularFile(path, limit).has_value(), !error && kind == FileKind::regular) << path;
    }
}

}  // namespace varkel::test
