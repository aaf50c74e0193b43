#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace varkel {

/// An opaque image as three planes of 8-bit samples, row after row without gaps. Planes, not interleaved
/// pixels: the loops over them then run on whole vector registers.
struct PixelPlanes {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> red;
    std::vector<std::uint8_t> green;
    std::vector<std::uint8_t> blue;

    std::size_t offset(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    }
};

/// A rectangle of whole pixels: from (x0, y0) up to and without (x1, y1).
struct PixelBox {
    int x0 = 0;
    int y0 = 0;
    int x1 = 0;
    int y1 = 0;

    int width() const { return x1 - x0; }
    int height() const { return y1 - y0; }
    friend bool operator==(const PixelBox&, const PixelBox&) = default;
};

inline PixelBox united(const PixelBox& a, const PixelBox& b) {
    return {std::min(a.x0, b.x0), std::min(a.y0, b.y0), std::max(a.x1, b.x1), std::max(a.y1, b.y1)};
}

}  // namespace varkel
