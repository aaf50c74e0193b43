#include "overlay/Placement.h"

#include <algorithm>

namespace varkel::overlay {

namespace {

constexpr int margin = 24;
constexpr int thickness = 4;

bool overlap(const Box& a, const Box& b) {
    return a.x < b.x + b.width && b.x < a.x + a.width && a.y < b.y + b.height && b.y < a.y + a.height;
}

Box intersection(const Box& a, const Box& b) {
    const int left = std::max(a.x, b.x);
    const int top = std::max(a.y, b.y);
    const int right = std::min(a.x + a.width, b.x + b.width);
    const int bottom = std::min(a.y + a.height, b.y + b.height);
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

}  // namespace

Box placePrompt(const Box& area, int width, int height, const std::optional<Box>& target) {
    const int left = area.x + margin;
    const int top = area.y + margin;
    const int right = std::max(area.x, area.x + area.width - width - margin);
    const int bottom = std::max(area.y, area.y + area.height - height - margin);
    const Box corners[] = {{right, top, width, height},
                           {right, bottom, width, height},
                           {left, top, width, height},
                           {left, bottom, width, height}};
    const auto* free = std::ranges::find_if(
        corners, [&](const Box& corner) { return !target || !overlap(corner, *target); });
    return free != std::end(corners) ? *free : corners[0];
}

std::vector<Box> frameAround(const Box& target, int screenWidth, int screenHeight) {
    const Box inner{thickness, thickness, screenWidth - 2 * thickness, screenHeight - 2 * thickness};
    const Box shown = intersection(target, inner);
    if (shown.width <= 0 || shown.height <= 0) return {};
    const int left = shown.x - thickness;
    const int top = shown.y - thickness;
    const int width = shown.width + 2 * thickness;
    return {{left, top, width, thickness},
            {left, shown.y + shown.height, width, thickness},
            {left, shown.y, thickness, shown.height},
            {shown.x + shown.width, shown.y, thickness, shown.height}};
}

}  // namespace varkel::overlay
