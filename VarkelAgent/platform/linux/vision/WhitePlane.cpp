#include "platform/linux/vision/WhitePlane.h"

#include <algorithm>
#include <cstdint>

namespace varkel {

PixelPlanes whiteOf(const PixelPlanes& image) {
    // What is darker than this is all the same.
    constexpr int ground = 150;
    PixelPlanes white{image.width, image.height, image.red, {}, {}};
    for (std::size_t i = 0; i < white.red.size(); ++i) {
        const int least = std::min({image.red[i], image.green[i], image.blue[i]});
        white.red[i] = static_cast<std::uint8_t>(std::max(0, least - ground) * 255 / (255 - ground));
    }
    white.green = white.red;
    white.blue = white.red;
    return white;
}

}  // namespace varkel
