#include <gtest/gtest.h>

#include <chrono>

#include "platform/linux/vision/ReadingRepair.h"

namespace varkel {
namespace {

constexpr int height = 30;
constexpr int stroke = 2;
constexpr int width = 14;

/// Draws one shape per letter of `shapes`: '1' an upright stroke with a flag and both feet, 'l' a bare one,
/// 'n' two of them as high as small letters with a bar on top, '.' a dot on the baseline, ',' one that
/// touches the next letter. Blanks in `shapes` part words.
LinePlane draw(const std::string& shapes) {
    constexpr int cell = width + 2 * stroke;
    LinePlane line{static_cast<int>(shapes.size()) * cell, height, {}, height, false};
    line.darkness.resize(static_cast<std::size_t>(line.width) * static_cast<std::size_t>(height));
    const auto fill = [&line](const PixelBox& box) {
        for (int y = box.y0; y < box.y1; ++y) {
            const auto row = line.darkness.begin() + static_cast<std::ptrdiff_t>(y) * line.width;
            std::fill(row + box.x0, row + box.x1, 255.0F);
        }
    };
    int x = 0;
    for (const char shape : shapes) {
        const int stem = x + width / 2 - stroke / 2;
        if (shape == '1') {
            fill({x, 0, stem, height / 5});
            fill({x, height - stroke, x + width, height});
        }
        if (shape == '1' || shape == 'l') fill({stem, 0, stem + stroke, height});
        if (shape == 'n') {
            fill({x, height / 3, x + stroke, height});
            fill({x + width - stroke, height / 3, x + width, height});
            fill({x, height / 3, x + width, height / 3 + stroke});
        }
        if (shape == '.' || shape == ',')
            fill({stem, height - 3, shape == ',' ? x + cell : stem + 3, height});
        x += cell;
    }
    return line;
}

TEST(ReadingRepair, PutsInDotsThatTheReadingLacks) {
    const struct {
        const char* shapes;
        const char* reading;
        const char* repaired;
    } cases[] = {
        {"11.11", "1111", "11.11"},  {"1.n.11", "1n11", "1.n.11"}, {"11.11", "11.11", "11.11"},
        {"11.11", "11,11", "11,11"}, {"11.", "11", "11"},          {"1. 11", "1 11", "1 11"},
        {"n,nn", "nnn", "nnn"},
    };
    for (const auto& [shapes, reading, repaired] : cases) {
        EXPECT_EQ(repairReading({reading, 0.95F}, draw(shapes)), repaired)
            << shapes << " read as " << reading;
    }
}

TEST(ReadingRepair, TakesAnLWithFeetForAOneOnlyWhereAnotherHasNone) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"n1n nn", "nln nn", "nln nn"},
        {"n1n nln", "nln nln", "n1n nln"},
        {"nln n1n", "nln nln", "nln n1n"},
        // Counts as well when it is a correction itself, but only for what comes after it.
        {"nln n1n", "nIn nln", "nln n1n"},
        {"n1n nln", "nln nIn", "nln nln"},
        {"n1n nln n1n", "nln nIn nln", "nln nln n1n"},
    };
    for (const auto& [shapes, reading, repaired] : cases) {
        EXPECT_EQ(repairReading({reading, 0.95F}, draw(shapes)), repaired)
            << shapes << " read as " << reading;
    }
}

}  // namespace
}  // namespace varkel
