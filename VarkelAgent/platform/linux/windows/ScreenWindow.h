#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace varkel {

/// A rectangle on the screen, in pixels.
struct PixelRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

/// Widths along the four sides of a window, in pixels.
struct Edges {
    std::int32_t left = 0;
    std::int32_t right = 0;
    std::int32_t top = 0;
    std::int32_t bottom = 0;
    friend bool operator==(const Edges&, const Edges&) = default;
};

/// One window of an application as the window system knows it.
struct ScreenWindow {
    /// All that the application draws, its shadows too; not what the window manager adds.
    PixelRect area;
    std::string title;
    /// The shadows that the application draws around itself (_GTK_FRAME_EXTENTS).
    Edges shadow;
    /// What the window manager adds (_NET_FRAME_EXTENTS).
    Edges frame;
    /// Not managed, and on the screen: a menu, a popover, a tool tip.
    bool popup = false;
    /// The one that the window manager calls active.
    bool active = false;
};

/// The windows of one process.
struct ProcessWindows {
    std::vector<ScreenWindow> windows;
    /// Whether the process itself is told where they are on the screen, as X11 does and Wayland does not.
    /// Where it is not, its places count from a window, and a window's area is what is seen of it, without
    /// shadows.
    bool knowTheirPlace = true;
};

}  // namespace varkel
