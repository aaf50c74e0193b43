#include <gtest/gtest.h>

#include <chrono>

#include "platform/linux/vision/ColumnSplit.h"

namespace varkel {
namespace {

/// The lines that rows of letters form, ten pixels to a column and ten high, each row twelve below the last.
/// '|' is where a line ends and the next of its row begins, and takes no column.
std::vector<DetectedLine> linesOf(const std::vector<std::string>& rows) {
    std::vector<DetectedLine> lines;
    for (int row = 0; row < static_cast<int>(rows.size()); ++row) {
        DetectedLine line;
        const auto finish = [&] {
            if (line.parts.empty()) return;
            line.box = line.parts.front();
            for (const PixelBox& part : line.parts) line.box = united(line.box, part);
            lines.push_back(std::exchange(line, {}));
        };
        int x = 0;
        for (const char letter : rows[static_cast<std::size_t>(row)]) {
            if (letter == '|') {
                finish();
                continue;
            }
            if (letter != ' ') line.parts.push_back({x + 1, 12 * row, x + 9, 12 * row + 10});
            x += 10;
        }
        finish();
    }
    return lines;
}

TEST(ColumnSplit, CutsWhereRowsShowAColumn) {
    const std::tuple<const char*, std::vector<std::string>, std::size_t> cases[] = {
        {"both columns begin at the same places", {"abc|   de", "ab|    de", "abcd  de"}, 6},
        {"numbers end where a column begins",
         {" 99  May", "199  May", "  9  May", " 19  May", "  5  May", "a b c d e f g"},
         11},
        {"one row less of them", {" 99  May", "199  May", "  9  May", " 19  May", "a b c d e f g"}, 5},
        {"one blank in each row is no column",
         {"ab cd ef", "ab cd ef", "ab cd ef", "ab cd ef", "ab cd ef"},
         5},
        {"numbers of lines, most of them cut off",
         {" 98|    call();", " 99 void run() {", "100|    call();", "101|    call();", "102 end();"},
         10},
        {"words of a list that end at one place by chance",
         {"Save", "Copy", "Open", "Rename", "Save as", "Close"},
         6},
    };
    for (const auto& [what, rows, expected] : cases) {
        auto lines = linesOf(rows);
        splitAtColumns(lines, CancellableDeadline(std::chrono::hours(1), {}));
        EXPECT_EQ(lines.size(), expected) << what;
    }
}

}  // namespace
}  // namespace varkel
