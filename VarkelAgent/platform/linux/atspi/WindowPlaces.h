#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/atspi/AtspiNode.h"
#include "platform/linux/windows/ScreenWindow.h"

namespace varkel {

/// One window of an application as its accessibility hierarchy has it.
struct AccessibleWindow {
    AtspiExtents extents;
    std::string name;
    bool active = false;
    /// What is on top of what it holds, such as its title bar. Needed only where extents count from the
    /// window's surface.
    AtspiExtents top = {};
};

/// What a toolkit's extents mean.
struct ExtentsConvention {
    /// They count from the window's contents, not from the corner of the screen.
    bool fromWindow = false;
    /// They count from the window's surface, since the application is not told where its windows are.
    bool fromSurface = false;
    /// A logical unit is a whole number of pixels.
    bool wholeScale = false;
    /// Web pages answer in pixels, also where the rest of the window does not.
    bool pagesInPixels = false;
    /// What is drawn inside of a root pane counts from the window, as if nothing were above the pane. Parts
    /// of the toolkit's own in there count as they do elsewhere. (LibreOffice with GTK.)
    bool rootPanesFromWindow = false;

    bool fromScreen() const { return !fromWindow && !fromSurface; }

    /// By the toolkit's own name for itself (the property ToolkitName of an application).
    static ExtentsConvention of(const std::string& toolkitName);
};

/// Extents -> pixels, for what lies in one window.
struct Placement {
    double scale = 1;
    /// A point of the application's extents, and the pixel that it is.
    double fromX = 0;
    double fromY = 0;
    double toX = 0;
    double toY = 0;
    friend bool operator==(const Placement&, const Placement&) = default;

    /// Whole pixels: both edges rounded to the nearest.
    PixelRect place(const AtspiExtents& extents) const;
};

/// Finds out where an application's elements are on the screen, by holding its accessible windows against the
/// X server's. Pure arithmetic; no thread, no server.
class WindowPlaces {
  public:
    /// `windows` are the application's; those that the X server does not show to be its own are left out.
    WindowPlaces(const ExtentsConvention& convention, std::span<const AccessibleWindow> accessible,
                 std::vector<ScreenWindow> windows);

    /// How the extents of what is in an accessible window (by its place in the constructor's list) become
    /// pixels; nothing when its place cannot be told.
    std::optional<Placement> inWindow(std::size_t accessible) const { return placements_[accessible]; }

    /// Whether extents may be taken for pixels in a window that inWindow() does not know: they are pixels in
    /// all the others, or there is no other to hold against them.
    bool arePixelsElsewhere() const;

    /// How the extents of what is in a popover may become pixels, when the element that has these extents,
    /// below a parent with those that is placed as `around` says, is the popover itself. Only where extents
    /// count from the window: there, a popover's count from its parent, wherever it is on the screen. None
    /// when it is no popover; more than one when it cannot be told which of the open ones it is.
    std::vector<Placement> inPopover(const AtspiExtents& extents, const AtspiExtents& parent,
                                     const Placement& around) const;

    /// Whether popovers may be open: without, inPopover() need not be asked.
    bool hasPopovers() const;

  private:
    ExtentsConvention convention_;
    std::vector<ScreenWindow> windows_;
    std::vector<std::optional<Placement>> placements_;
};

}  // namespace varkel
