#include "platform/linux/atspi/WindowPlaces.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

namespace varkel {

namespace {

/// Scales that desktops offer, the likeliest first. What fits none of them gets its own from the sizes.
constexpr std::array commonScales{1.0, 2.0, 1.5, 1.25, 1.75, 3.0, 2.5, 2.25, 2.75, 3.5, 4.0};
constexpr double smallestScale = 0.5;
constexpr double largestScale = 8;

/// Smaller windows fit any scale.
constexpr std::int32_t smallestWindow = 16;

/// Theme borders inside of a window, in logical units.
constexpr double widestBorder = 32;

/// How an accessible window's extents fit a window of the X server.
struct Fit {
    Placement placement;
    /// The window is where its extents say.
    bool samePlace = false;
};

bool isWhole(double scale) {
    return scale == std::floor(scale);
}

PixelRect grow(const PixelRect& rect, const Edges& by, int direction) {
    return {rect.x - direction * by.left, rect.y - direction * by.top,
            rect.width + direction * (by.left + by.right), rect.height + direction * (by.top + by.bottom)};
}

/// Toolkits round sizes to logical units either way, those with broken scales both edges away from each
/// other.
bool isSize(double pixels, double logical, double scale) {
    return std::abs(pixels - logical * scale) <= (isWhole(scale) ? scale : 2 * scale);
}

bool isSize(const PixelRect& area, const AtspiExtents& extents, double scale) {
    return isSize(area.width, extents.width, scale) && isSize(area.height, extents.height, scale);
}

bool isAt(double pixels, double logical, double scale) {
    return std::abs(pixels - logical * scale) <= scale + 1;
}

bool isAt(const PixelRect& area, const AtspiExtents& extents, double scale) {
    return isAt(area.x, extents.x, scale) && isAt(area.y, extents.y, scale);
}

class Matcher {
  public:
    Matcher(const ExtentsConvention& convention, const AccessibleWindow& accessible,
            const ScreenWindow& window)
        : convention_(convention), extents_(accessible.extents), top_(accessible.top), window_(window) {}

    std::optional<Fit> match() {
        if (extents_.width < smallestWindow || extents_.height < smallestWindow) return std::nullopt;
        for (const double scale : commonScales) {
            if (!convention_.wholeScale || isWhole(scale)) tryScale(scale);
        }
        const double own = window_.area.width / extents_.width;
        if (!best_ && !convention_.wholeScale && own >= smallestScale && own <= largestScale) tryScale(own);
        if (!best_) tryPlaceAlone();
        return best_;
    }

  private:
    void tryScale(double scale) {
        const PixelRect& area = window_.area;
        tryArea(area, scale);
        if (window_.shadow != Edges{}) tryArea(grow(area, window_.shadow, -1), scale);
        if (window_.frame != Edges{}) tryFrame(scale);
        if (convention_.fromWindow) tryBorder(grow(area, window_.shadow, -1), scale);
        if (convention_.fromSurface) tryOwnShadow(scale);
    }

    void tryArea(const PixelRect& area, double scale) {
        if (!isSize(area, extents_, scale)) return;
        take({scale, static_cast<double>(extents_.x), static_cast<double>(extents_.y), area.x, area.y},
             isAt(area, extents_, scale));
    }

    /// Extents with the window manager's frame. What is inside of it counts from the corner of the screen,
    /// cut off to whole units; the frame's own place is of no use for that, since it is rounded for itself,
    /// and may be where Java first put a dialog.
    void tryFrame(double scale) {
        const PixelRect outside = grow(window_.area, window_.frame, 1);
        if (!convention_.fromScreen() || !isSize(outside, extents_, scale)) return;
        const PixelRect& inside = window_.area;
        take({scale, std::trunc(inside.x / scale), std::trunc(inside.y / scale), inside.x, inside.y},
             isAt(outside, extents_, scale));
    }

    /// Extents without the border that a theme draws inside of a window: as wide on all four sides.
    void tryBorder(const PixelRect& area, double scale) {
        const double side = (area.width - extents_.width * scale) / 2;
        const double top = (area.height - extents_.height * scale) / 2;
        if (side != top || side <= 0 || side > widestBorder * scale) return;
        take({scale, static_cast<double>(extents_.x), static_cast<double>(extents_.y), area.x + side,
              area.y + top},
             false);
    }

    /// Extents with a shadow that the application draws and nothing tells the size of: as wide on the left as
    /// on the right, and as high as what is on top of the window lies below its edge.
    void tryOwnShadow(double scale) {
        const PixelRect& area = window_.area;
        const double wide = extents_.width * scale - area.width;
        const double high = extents_.height * scale - area.height;
        const double left = (static_cast<double>(top_.x) - extents_.x) * scale;
        const double top = (static_cast<double>(top_.y) - extents_.y) * scale;
        const bool fills = std::abs(top_.width * scale - area.width) <= scale;
        if (wide <= 0 || std::abs(2 * left - wide) > 2 * scale || !fills || top < 0 || top > high) return;
        take({scale, static_cast<double>(extents_.x), static_cast<double>(extents_.y), area.x - left,
              area.y - top},
             false);
    }

    /// A window that changes its size just now still is where it was. Near the corner of the screen all
    /// scales say about the same.
    void tryPlaceAlone() {
        constexpr std::int32_t farEnough = 16;
        if (!convention_.fromScreen() || std::max(extents_.x, extents_.y) < farEnough) return;
        const auto isHere = [this](const PixelRect& area) {
            return std::abs(area.x - extents_.x) <= 1 && std::abs(area.y - extents_.y) <= 1;
        };
        if (isHere(window_.area) || isHere(grow(window_.area, window_.frame, 1))) take({}, true);
    }

    /// The first that fits counts, unless a later one is at the right place as well.
    void take(const Placement& placement, bool samePlace) {
        samePlace = samePlace && convention_.fromScreen();
        if (!best_ || (samePlace && !best_->samePlace)) best_ = Fit{placement, samePlace};
    }

    const ExtentsConvention& convention_;
    const AtspiExtents& extents_;
    const AtspiExtents& top_;
    const ScreenWindow& window_;
    std::optional<Fit> best_;
};

using AccessibleWindows = std::span<const AccessibleWindow>;
using ScreenWindows = std::span<const ScreenWindow>;

/// How much the titles speak for the two being one window.
int likelihoodByTitle(const AccessibleWindow& accessible, const ScreenWindow& window) {
    if (accessible.name.empty() || !window.title.starts_with(accessible.name)) return 0;
    // Some toolkits add the application's name to the title that the window manager gets.
    return window.title == accessible.name ? 5 : 4;
}

/// Whether neither of the two bears the name of another window: then titles tell nothing against their being
/// one. Windows without a title get different names from their toolkit.
bool areNameless(const AccessibleWindow& accessible, AccessibleWindows all, const ScreenWindow& window,
                 ScreenWindows screen) {
    return std::ranges::none_of(screen,
                                [&](const auto& each) { return likelihoodByTitle(accessible, each) > 0; }) &&
           std::ranges::none_of(all, [&](const auto& each) { return likelihoodByTitle(each, window) > 0; });
}

/// How much speaks for the two being one window; 0 when nothing does.
int likelihood(const Fit& fit, const AccessibleWindow& accessible, AccessibleWindows all,
               const ScreenWindow& window, ScreenWindows screen) {
    int likely = likelihoodByTitle(accessible, window) + (fit.samePlace ? 8 : 0);
    if (likely == 0 && !window.popup && areNameless(accessible, all, window, screen)) likely = 1;
    if (likely > 0 && accessible.active && window.active) likely += 2;
    return likely;
}

/// One possible pair.
struct Pair {
    std::size_t accessible;
    std::size_t window;
    int likelihood;
    Placement placement;
};

/// Whether another pair with either of these two windows is as likely, and would lead elsewhere.
bool isContested(const Pair& pair, const std::vector<Pair>& pairs) {
    return std::ranges::any_of(pairs, [&pair](const Pair& other) {
        const bool rival = (other.accessible == pair.accessible) != (other.window == pair.window);
        return rival && other.likelihood >= pair.likelihood && other.placement != pair.placement;
    });
}

}  // namespace

ExtentsConvention ExtentsConvention::of(const std::string& toolkitName) {
    // GTK 3 calls itself "gtk", GTK 4 "GTK".
    if (toolkitName == "GTK") return {.fromWindow = true, .wholeScale = true};
    if (toolkitName == "gtk") return {.wholeScale = true, .rootPanesFromWindow = true};
    return {.wholeScale = toolkitName == "Gecko", .pagesInPixels = toolkitName == "Chromium"};
}

PixelRect Placement::place(const AtspiExtents& extents) const {
    // Numbers of any size may come, so that their sums do not fit their type.
    const double x = extents.x;
    const double y = extents.y;
    const double left = std::round(toX + (x - fromX) * scale);
    const double top = std::round(toY + (y - fromY) * scale);
    const double right = std::round(toX + (x + extents.width - fromX) * scale);
    const double bottom = std::round(toY + (y + extents.height - fromY) * scale);
    return {left, top, right - left, bottom - top};
}

WindowPlaces::WindowPlaces(const ExtentsConvention& convention, std::span<const AccessibleWindow> accessible,
                           std::vector<ScreenWindow> windows)
    : convention_(convention), windows_(std::move(windows)), placements_(accessible.size()) {
    std::vector<Pair> pairs;
    for (std::size_t i = 0; i < accessible.size(); ++i) {
        for (std::size_t j = 0; j < windows_.size(); ++j) {
            const auto fit = Matcher(convention_, accessible[i], windows_[j]).match();
            const int likely = fit ? likelihood(*fit, accessible[i], accessible, windows_[j], windows_) : 0;
            if (likely > 0) pairs.push_back({i, j, likely, fit->placement});
        }
    }
    // A pair that is beyond doubt takes both its windows out of the others' choice.
    while (true) {
        const auto sure =
            std::ranges::find_if(pairs, [&pairs](const Pair& pair) { return !isContested(pair, pairs); });
        if (sure == pairs.end()) break;
        const Pair found = *sure;
        placements_[found.accessible] = found.placement;
        std::erase_if(pairs, [&found](const Pair& pair) {
            return pair.accessible == found.accessible || pair.window == found.window;
        });
    }
}

bool WindowPlaces::hasPopovers() const {
    return convention_.fromWindow && std::ranges::any_of(windows_, &ScreenWindow::popup);
}

bool WindowPlaces::arePixelsElsewhere() const {
    if (!convention_.fromScreen()) return false;
    if (windows_.empty()) return true;
    const auto known = [](const auto& placement) { return placement.has_value(); };
    return std::ranges::any_of(placements_, known) &&
           std::ranges::all_of(placements_,
                               [](const auto& placement) { return !placement || placement->scale == 1; });
}

std::vector<Placement> WindowPlaces::inPopover(const AtspiExtents& extents, const AtspiExtents& parent,
                                               const Placement& around) const {
    const double scale = around.scale;
    const double left = static_cast<double>(extents.x) - parent.x;
    const double top = static_cast<double>(extents.y) - parent.y;
    if (!hasPopovers() || left < 0 || top < 0) return {};
    // The theme's padding is on one side or on both.
    const auto isSide = [scale](double pixels, double size, double padding) {
        return pixels == (size + padding) * scale || pixels == (size + 2 * padding) * scale;
    };
    std::vector<Placement> found;
    for (const ScreenWindow& each : windows_) {
        const PixelRect& area = each.area;
        const bool same = area.x == around.toX && area.y == around.toY;
        if (!each.popup || same || !isSide(area.width, extents.width, left) ||
            !isSide(area.height, extents.height, top))
            continue;
        found.push_back(
            {scale, static_cast<double>(parent.x), static_cast<double>(parent.y), area.x, area.y});
    }
    return found;
}

}  // namespace varkel
