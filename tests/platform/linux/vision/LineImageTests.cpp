#include <gtest/gtest.h>

#include <algorithm>

#include "platform/linux/vision/LineImage.h"

namespace varkel {
namespace {

TEST(LineImage, FindsTheBackgroundOfAWordOfSeveralMegapixels) {
    const PixelBox word{10, 10, 4010, 2010};
    PixelPlanes page;
    page.width = word.x1 + 10;
    page.height = word.y1 + 10;
    page.red.assign(static_cast<std::size_t>(page.width) * static_cast<std::size_t>(page.height), 250);
    // Two fifths of the word are strokes over its whole height, so that its border has no single colour.
    const auto isInk = [&](int x) { return (x - word.x0) % 50 < 20; };
    for (int y = word.y0; y < word.y1; ++y) {
        for (int x = word.x0; x < word.x1; ++x) {
            if (isInk(x)) page.red[page.offset(x, y)] = 10;
        }
    }
    page.green = page.red;
    page.blue = page.red;

    const LinePlane line = extractLine(page, {word, {word}});
    ASSERT_EQ(line.width, word.width());
    ASSERT_EQ(line.height, word.height());
    EXPECT_FALSE(line.ambiguous);
    const float* row = line.darkness.data() + static_cast<std::ptrdiff_t>(line.height / 2) * line.width;
    const auto wrong = std::count_if(row, row + line.width, [&](const float& darkness) {
        const int x = word.x0 + static_cast<int>(&darkness - row);
        return isInk(x) ? darkness < 254 : darkness > 0;
    });
    EXPECT_EQ(wrong, 0);
}

TEST(LineImage, TellsTheWidthOfAPreparedLineInAdvance) {
    const struct {
        int width;
        int height;
        int baseline;
        std::int64_t prepared;
    } cases[] = {
        {2000, 1, 1, 60006}, {100, 30, 20, 106}, {100, 30, 30, 81}, {301, 121, 80, 81}, {1, 200, 150, 7},
    };
    for (const auto& [width, height, baseline, prepared] : cases) {
        LinePlane line{width, height, {}, baseline, false};
        line.darkness.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        EXPECT_EQ(preparedWidth(line), prepared) << width << " x " << height;
        EXPECT_EQ(prepareLine(line).width, prepared) << width << " x " << height;
    }
    // As wide as a picture may be: nothing overflows.
    EXPECT_EQ(preparedWidth({64 << 20, 1, {}, 1, false}), 30LL * (64 << 20) + 6);
}

}  // namespace
}  // namespace varkel
