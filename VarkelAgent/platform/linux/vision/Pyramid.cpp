#include "platform/linux/vision/Pyramid.h"

#include <algorithm>
#include <cstdint>

namespace varkel {

namespace {

/// On the last level, letters of 144 pixels have small ones of about ten.
constexpr std::size_t mostLevels = 4;
/// No line of letters fits into less.
constexpr int leastSide = 16;

std::vector<std::uint8_t> halved(const std::vector<std::uint8_t>& plane, const PixelPlanes& from,
                                 const PixelPlanes& to) {
    std::vector<std::uint8_t> half(static_cast<std::size_t>(to.width) * static_cast<std::size_t>(to.height));
    const auto count = static_cast<std::size_t>(to.width);
    for (int y = 0; y < to.height; ++y) {
        const std::uint8_t* top = plane.data() + from.offset(0, 2 * y);
        const std::uint8_t* bottom = top + from.width;
        std::uint8_t* out = half.data() + to.offset(0, y);
        for (std::size_t x = 0; x < count; ++x) {
            const int sum = top[2 * x] + top[2 * x + 1] + bottom[2 * x] + bottom[2 * x + 1];
            out[x] = static_cast<std::uint8_t>((sum + 2) >> 2);
        }
    }
    return half;
}

PixelPlanes halfOf(const PixelPlanes& image) {
    PixelPlanes half;
    half.width = image.width / 2;
    half.height = image.height / 2;
    half.red = halved(image.red, image, half);
    half.green = halved(image.green, image, half);
    half.blue = halved(image.blue, image, half);
    return half;
}

}  // namespace

Pyramid::Pyramid(const PixelPlanes& image) : image_(image) {
    halves_.reserve(mostLevels - 1);
    while (levels() < mostLevels) {
        const PixelPlanes& last = at(levels() - 1);
        if (std::min(last.width, last.height) / 2 < leastSide) return;
        halves_.push_back(halfOf(last));
    }
}

}  // namespace varkel
