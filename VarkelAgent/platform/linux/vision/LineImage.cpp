#include "platform/linux/vision/LineImage.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace varkel {

namespace {

/// The height of the images that the model was trained on; others would be scaled once more.
constexpr int modelHeight = 36;
constexpr int border = 3;
constexpr int mostInk = modelHeight - 2 * border;
/// The depth of descenders below the baseline, in heights of capitals.
constexpr double descent = 0.33;

/// Four neighbours and their weights for one output sample.
struct Tap {
    std::array<int, 4> index{};
    std::array<float, 4> weight{};
};

std::vector<Tap> makeTaps(int from, int to) {
    std::vector<Tap> taps(static_cast<std::size_t>(to));
    const double ratio = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        const int base = static_cast<int>(std::floor(centre));
        const double t = centre - base;
        const std::array<double, 4> weights{((-0.5 * t + 1.0) * t - 0.5) * t, (1.5 * t - 2.5) * t * t + 1.0,
                                            ((-1.5 * t + 2.0) * t + 0.5) * t, (0.5 * t - 0.5) * t * t};
        Tap& tap = taps[static_cast<std::size_t>(i)];
        for (int k = 0; k < 4; ++k) {
            // Outside is background, marked by -1.
            const int index = base - 1 + k;
            tap.index[static_cast<std::size_t>(k)] = index >= 0 && index < from ? index : -1;
            tap.weight[static_cast<std::size_t>(k)] =
                static_cast<float>(weights[static_cast<std::size_t>(k)]);
        }
    }
    return taps;
}

struct Size {
    int width = 0;
    int height = 0;
};

/// The size of a line with room for descenders below those that have none: the model places letters by it.
Size withDescenders(const LinePlane& line) {
    const int depth = static_cast<int>(std::lround(descent * line.baseline));
    return {line.width, std::max(line.height, line.baseline + depth)};
}

/// The height of a line's ink within the model's. The recogniser's time is proportional to the width that
/// comes of it, and long lines are read as well from lower letters; single characters and short words are
/// not.
int inkHeightOf(const Size& size) {
    constexpr int longLine = 24;
    return size.width < 3 * size.height ? mostInk : longLine;
}

/// Whether a line is far higher than what the recogniser takes.
bool wantsHalving(const Size& size, int inkHeight) {
    return size.height >= 2 * inkHeight && size.width >= 2;
}

Size halved(const Size& size) {
    return {size.width / 2, size.height / 2};
}

std::int64_t scaledWidth(const Size& size, int inkHeight) {
    return std::max<std::int64_t>(1, std::llround(static_cast<double>(size.width) * inkHeight / size.height));
}

/// Halves a plane by averaging.
void halve(std::vector<float>& plane, Size& size) {
    const int width = size.width;
    const auto [w, h] = halved(size);
    std::vector<float> half(static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
    for (int y = 0; y < h; ++y) {
        const float* top = plane.data() + static_cast<std::ptrdiff_t>(2 * y) * width;
        const float* bottom = top + width;
        float* out = half.data() + static_cast<std::ptrdiff_t>(y) * w;
        for (int x = 0; x < w; ++x) {
            out[x] = (top[2 * x] + top[2 * x + 1] + bottom[2 * x] + bottom[2 * x + 1]) / 4;
        }
    }
    plane = std::move(half);
    size = {w, h};
}

LineImage scaled(const std::vector<float>& plane, const Size& size, const Size& to) {
    const auto [width, height] = size;
    const auto [toWidth, toHeight] = to;
    const std::vector<Tap> columns = makeTaps(width, toWidth);
    const std::vector<Tap> rows = makeTaps(height, toHeight);
    std::vector<float> wide(static_cast<std::size_t>(toWidth) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        const float* in = plane.data() + static_cast<std::ptrdiff_t>(y) * width;
        float* out = wide.data() + static_cast<std::ptrdiff_t>(y) * toWidth;
        for (int x = 0; x < toWidth; ++x) {
            const Tap& tap = columns[static_cast<std::size_t>(x)];
            float sum = 0;
            for (std::size_t k = 0; k < 4; ++k) {
                if (tap.index[k] >= 0) sum += tap.weight[k] * in[tap.index[k]];
            }
            out[x] = sum;
        }
    }
    const int top = (modelHeight - toHeight) / 2;
    LineImage result{toWidth + 2 * border, modelHeight, {}};
    result.pixels.assign(static_cast<std::size_t>(result.width) * static_cast<std::size_t>(result.height),
                         255);
    for (int y = 0; y < toHeight; ++y) {
        const Tap& tap = rows[static_cast<std::size_t>(y)];
        std::uint8_t* out =
            result.pixels.data() + static_cast<std::ptrdiff_t>(y + top) * result.width + border;
        for (int x = 0; x < toWidth; ++x) {
            float sum = 0;
            for (std::size_t k = 0; k < 4; ++k) {
                if (tap.index[k] >= 0)
                    sum += tap.weight[k] *
                           wide[static_cast<std::size_t>(tap.index[k]) * static_cast<std::size_t>(toWidth) +
                                static_cast<std::size_t>(x)];
            }
            out[x] = static_cast<std::uint8_t>(255 - std::clamp(static_cast<int>(std::lround(sum)), 0, 255));
        }
    }
    return result;
}

}  // namespace

std::int64_t preparedWidth(const LinePlane& line) {
    Size size = withDescenders(line);
    const int inkHeight = inkHeightOf(size);
    while (wantsHalving(size, inkHeight)) size = halved(size);
    return scaledWidth(size, inkHeight) + 2 * border;
}

LineImage prepareLine(const LinePlane& line, Proportions proportions) {
    std::vector<float> plane = line.darkness;
    Size size = withDescenders(line);
    plane.resize(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
    const bool isSlim = proportions == Proportions::slim;
    const int inkHeight = isSlim ? mostInk : inkHeightOf(size);
    while (wantsHalving(size, inkHeight)) halve(plane, size);
    const int width = static_cast<int>(scaledWidth(size, inkHeight));
    return scaled(plane, size, {isSlim ? std::max(1, width * 7 / 8) : width, inkHeight});
}

}  // namespace varkel
