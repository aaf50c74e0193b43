#include "platform/linux/vision/LinePlane.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "platform/linux/vision/GlyphShapes.h"

namespace varkel {

namespace {

struct Colour {
    int red = 0;
    int green = 0;
    int blue = 0;
};

Colour colourAt(const PixelPlanes& image, int x, int y) {
    const std::size_t at = image.offset(x, y);
    return {image.red[at], image.green[at], image.blue[at]};
}

PixelBox grown(const PixelBox& box, int by, const PixelPlanes& image) {
    return {std::max(0, box.x0 - by), std::max(0, box.y0 - by), std::min(image.width, box.x1 + by),
            std::min(image.height, box.y1 + by)};
}

/// How far a colour is from the background in the channel where it is farthest, with its sign.
int contrast(const Colour& colour, const Colour& background) {
    int most = 0;
    for (const int step :
         {colour.red - background.red, colour.green - background.green, colour.blue - background.blue}) {
        if (std::abs(step) > std::abs(most)) most = step;
    }
    return most;
}

/// The colour of the rectangle that a word lies in when its box is that rectangle, as selections are drawn:
/// letters never run all around their own box.
std::optional<Colour> colourAllAround(const PixelPlanes& image, const PixelBox& box) {
    if (box.height() < 10 || box.width() < box.height()) return std::nullopt;
    const Colour first = colourAt(image, box.x0, box.y0);
    int same = 0;
    int all = 0;
    const auto look = [&](int x, int y) {
        ++all;
        same += std::abs(contrast(colourAt(image, x, y), first)) <= 8 ? 1 : 0;
    };
    for (int x = box.x0; x < box.x1; ++x) {
        look(x, box.y0);
        look(x, box.y1 - 1);
    }
    for (int y = box.y0; y < box.y1; ++y) {
        look(box.x0, y);
        look(box.x1 - 1, y);
    }
    if (same < 0.85 * all) return std::nullopt;
    return first;
}

/// The most frequent colour of a box and of one pixel around it, where backgrounds show.
Colour backgroundOf(const PixelPlanes& image, const PixelBox& ink) {
    if (const auto rectangle = colourAllAround(image, ink)) return *rectangle;
    const PixelBox box = grown(ink, 1, image);
    // A word can have millions of pixels, and those outside weigh as much again.
    struct Bin {
        std::int64_t count = 0;
        std::int64_t red = 0;
        std::int64_t green = 0;
        std::int64_t blue = 0;
    };
    std::array<Bin, 4096> bins{};
    // Together as much as the inside: bold letters cover more of their own box than the background does.
    const int outsideWeight = std::max(2, ink.width() * ink.height() / (2 * (ink.width() + ink.height())));
    for (int y = box.y0; y < box.y1; ++y) {
        for (int x = box.x0; x < box.x1; ++x) {
            const Colour c = colourAt(image, x, y);
            Bin& bin = bins[static_cast<std::size_t>((c.red >> 4) << 8 | (c.green >> 4) << 4 | c.blue >> 4)];
            const bool outside = x < ink.x0 || x >= ink.x1 || y < ink.y0 || y >= ink.y1;
            const int weight = outside ? outsideWeight : 1;
            bin.count += weight;
            bin.red += weight * c.red;
            bin.green += weight * c.green;
            bin.blue += weight * c.blue;
        }
    }
    const Bin& most = *std::max_element(bins.begin(), bins.end(),
                                        [](const Bin& a, const Bin& b) { return a.count < b.count; });
    const std::int64_t count = std::max<std::int64_t>(1, most.count);
    return {static_cast<int>(most.red / count), static_cast<int>(most.green / count),
            static_cast<int>(most.blue / count)};
}

/// The columns of a line cut where no part reaches, at gaps wide enough to part words.
std::vector<PixelBox> wordsOf(const DetectedLine& line) {
    const int gap = std::max(2, line.box.height() / 5);
    std::vector<PixelBox> words;
    for (const PixelBox& part : line.parts) {
        if (words.empty() || part.x0 - words.back().x1 >= gap) {
            words.push_back({part.x0, line.box.y0, part.x1, line.box.y1});
        } else {
            words.back().x1 = std::max(words.back().x1, part.x1);
        }
    }
    return words;
}

/// Writes one word's darkness, 0 for background up to 255, into the line's plane. Letters are either lighter
/// or darker than their background: what goes the other way is a shadow or an outline and is left out.
bool extractWord(const PixelPlanes& image, const PixelBox& word, const PixelBox& line,
                 std::vector<float>& plane) {
    constexpr int weakest = 24;
    const Colour background = backgroundOf(image, word);
    int lightest = 0;
    int darkest = 0;
    for (int y = word.y0; y < word.y1; ++y) {
        for (int x = word.x0; x < word.x1; ++x) {
            const int step = contrast(colourAt(image, x, y), background);
            lightest = std::max(lightest, step);
            darkest = std::max(darkest, -step);
        }
    }
    const bool light = lightest > darkest;
    const float scale =
        (light ? 255.0F : -255.0F) / static_cast<float>(std::max(light ? lightest : darkest, weakest));
    for (int y = word.y0; y < word.y1; ++y) {
        float* row = plane.data() + static_cast<std::ptrdiff_t>(y - line.y0) * line.width();
        for (int x = word.x0; x < word.x1; ++x) {
            const int step = contrast(colourAt(image, x, y), background);
            row[x - line.x0] = std::max(0.0F, scale * static_cast<float>(step));
        }
    }
    return std::min(lightest, darkest) > weakest;
}

/// As extractWord(), for white letters: colours and shadows lack one channel or all.
void extractWhiteWord(const PixelPlanes& image, const PixelBox& word, const PixelBox& line,
                      std::vector<float>& plane) {
    std::vector<int> whiteness;
    for (int y = word.y0; y < word.y1; ++y) {
        for (int x = word.x0; x < word.x1; ++x) {
            const Colour colour = colourAt(image, x, y);
            whiteness.push_back(std::min({colour.red, colour.green, colour.blue}));
        }
    }
    std::vector<int> sorted = whiteness;
    // Letters cover less than a third of their box; whatever is as dark as the rest is none.
    const auto ground = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() * 6 / 10);
    std::nth_element(sorted.begin(), ground, sorted.end());
    const int highest = *std::max_element(whiteness.begin(), whiteness.end());
    const float scale = 255.0F / static_cast<float>(std::max(1, highest - *ground));
    std::size_t next = 0;
    for (int y = word.y0; y < word.y1; ++y) {
        float* row = plane.data() + static_cast<std::ptrdiff_t>(y - line.y0) * line.width();
        for (int x = word.x0; x < word.x1; ++x) {
            row[x - line.x0] = std::max(0.0F, scale * static_cast<float>(whiteness[next++] - *ground));
        }
    }
}

/// Takes a line off that runs through the middle of a whole word, as prices that no longer hold have. What
/// crosses it stays.
void eraseStrike(LinePlane& plane, int x0, int x1) {
    constexpr float ink = 80;
    const int width = x1 - x0;
    const auto at = [&](int x, int y) -> float& {
        return plane.darkness[static_cast<std::size_t>(y) * static_cast<std::size_t>(plane.width) +
                              static_cast<std::size_t>(x)];
    };
    const auto isFull = [&](int y) {
        int covered = 0;
        for (int x = x0; x < x1; ++x) covered += at(x, y) >= ink ? 1 : 0;
        return covered == width;
    };
    int top = plane.height / 4;
    const int end = 3 * plane.height / 4;
    while (top < end && !isFull(top)) ++top;
    int bottom = top;
    while (bottom < end && isFull(bottom)) ++bottom;
    // Letters are far higher than the line and far narrower than the word.
    if (bottom == top || 6 * (bottom - top) > plane.height + 6 || width < 3 * plane.height / 2) return;
    for (int x = x0; x < x1; ++x) {
        const float rest = std::min(at(x, top - 1), at(x, bottom));
        for (int y = top; y < bottom; ++y) at(x, y) = std::min(at(x, y), rest);
    }
}

/// Takes off the rows without ink above and below: a selection's rectangle is higher than its letters.
void trimRows(LinePlane& plane) {
    constexpr float ink = 48;
    const auto isEmpty = [&](int y) {
        const float* row = plane.darkness.data() + static_cast<std::ptrdiff_t>(y) * plane.width;
        return std::none_of(row, row + plane.width, [](float value) { return value >= ink; });
    };
    int top = 0;
    int bottom = plane.height;
    while (top < bottom && isEmpty(top)) ++top;
    while (bottom > top && isEmpty(bottom - 1)) --bottom;
    if (top == bottom) return;
    const auto begin = plane.darkness.begin();
    plane.darkness.erase(begin + static_cast<std::ptrdiff_t>(bottom) * plane.width, plane.darkness.end());
    plane.darkness.erase(begin, begin + static_cast<std::ptrdiff_t>(top) * plane.width);
    plane.height = bottom - top;
}

/// The row that most letters stand on. By the ink, not by the edges: those of neighbours run together.
int baselineOf(const LinePlane& plane) {
    std::vector<int> bottoms;
    for (const GlyphShape& shape : cutGlyphs(plane, 96)) {
        if (shape.box.height() >= 0.4 * plane.height) bottoms.push_back(shape.box.y1);
    }
    if (bottoms.empty()) return plane.height;
    // Of two middle ones the upper: half of "page" are descenders.
    const auto middle = bottoms.begin() + static_cast<std::ptrdiff_t>((bottoms.size() - 1) / 2);
    std::nth_element(bottoms.begin(), middle, bottoms.end());
    return *middle;
}

}  // namespace

LinePlane extractLine(const PixelPlanes& image, const DetectedLine& line, Ink ink) {
    LinePlane plane{line.box.width(), line.box.height(), {}, 0, false};
    plane.darkness.resize(static_cast<std::size_t>(plane.width) * static_cast<std::size_t>(plane.height));
    for (const PixelBox& word : wordsOf(line)) {
        if (ink == Ink::white) {
            extractWhiteWord(image, word, line.box, plane.darkness);
        } else if (extractWord(image, word, line.box, plane.darkness)) {
            plane.ambiguous = true;
        }
        // Bars of lower letters meet.
        if (plane.height >= 10) eraseStrike(plane, word.x0 - line.box.x0, word.x1 - line.box.x0);
    }

    trimRows(plane);
    plane.baseline = baselineOf(plane);
    return plane;
}

}  // namespace varkel
