#include <gtest/gtest.h>

#include <chrono>

#include "platform/linux/vision/ColumnSplit.h"
#include "platform/linux/vision/RowSplit.h"

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
        {"the same words before the same space",
         {"abcd  efg", "abcd  hi", "abcd  jklm", "abcd  nop", "abcd  qr", "a b c d e f g h"},
         6},
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

TEST(RowSplit, TakesRowsApartThatSomethingHighHasJoined) {
    const auto joined = [](const std::vector<std::string>& rows, const PixelBox& high) {
        DetectedLine all{high, {high}, 0};
        for (const DetectedLine& row : linesOf(rows)) {
            all.box = united(all.box, row.box);
            all.parts.insert(all.parts.end(), row.parts.begin(), row.parts.end());
        }
        return std::vector<DetectedLine>{std::move(all)};
    };
    auto lines = joined({"abc de", "fgh", "ij      klmn"}, {-20, 0, -10, 34});
    splitIntoRows(lines);
    EXPECT_EQ(lines.size(), 4U);
    for (const DetectedLine& line : lines) EXPECT_EQ(line.box.height(), 10);

    auto bracket = joined({"abc de"}, {-20, -10, -10, 15});
    splitIntoRows(bracket);
    ASSERT_EQ(bracket.size(), 1U);
    EXPECT_EQ(bracket.front().parts.size(), 6U);
}

}  // namespace
}  // namespace varkel
