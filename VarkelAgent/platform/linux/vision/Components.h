#pragma once

#include <cstdint>
#include <vector>

#include "platform/linux/vision/PixelPlanes.h"

namespace varkel {

/// A bitmap with one byte per pixel, zero or not.
struct Mask {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bits;

    Mask() = default;
    Mask(int w, int h)
        : width(w), height(h), bits(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
    std::uint8_t* row(int y) {
        return bits.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
    const std::uint8_t* row(int y) const {
        return bits.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
};

/// A horizontal run of set pixels: x0 up to and without x1.
struct Run {
    int y = 0;
    int x0 = 0;
    int x1 = 0;
};

/// A set of pixels that touch each other, diagonals included.
struct Component {
    PixelBox box;
    int area = 0;
    /// The component's runs are runs[firstRun .. firstRun + runCount) of its ComponentSet, top to bottom.
    std::uint32_t firstRun = 0;
    std::uint32_t runCount = 0;
};

struct ComponentSet {
    std::vector<Component> components;
    std::vector<Run> runs;
};

/// The 8-connected components of a mask. Linear in the pixels. Any thread.
ComponentSet findComponents(const Mask& mask);

}  // namespace varkel
