#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

namespace varkel {

/// Why there is no image, in words for the person.
class ScreenError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A part of the desktop, in pixels from its top left corner.
struct ScreenArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// What stood on a part of the desktop.
struct ScreenImage {
    /// Never empty.
    ScreenArea area;
    /// Rows from the top, each pixel red, green and blue.
    std::vector<std::uint8_t> pixels;
};

/// Takes images of the desktop as it is seen. Any thread.
class Screen {
  public:
    virtual ~Screen() = default;

    /// An image of the part of the desktop that lies in `area`, or of all of it. Blocks for a bounded time.
    /// Throws ScreenError, also when nothing of the desktop lies there.
    virtual ScreenImage capture(std::optional<ScreenArea> area) = 0;
};

/// The screen of the session that the environment names. Connects with the first image.
std::unique_ptr<Screen> makeSystemScreen();

}  // namespace varkel
