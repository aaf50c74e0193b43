#pragma once

#include <algorithm>
#include <optional>

#include "platform/Screen.h"

namespace varkel {

/// The part of the wanted area, or of everything, that lies on the screen. Pure.
inline ScreenArea visiblePart(const std::optional<ScreenArea>& wanted, const ScreenArea& screen) {
    if (!wanted) return screen;
    const int left = std::clamp(wanted->x, screen.x, screen.x + screen.width);
    const int top = std::clamp(wanted->y, screen.y, screen.y + screen.height);
    const int right = std::clamp(wanted->x + wanted->width, left, screen.x + screen.width);
    const int bottom = std::clamp(wanted->y + wanted->height, top, screen.y + screen.height);
    return {left, top, right - left, bottom - top};
}

}  // namespace varkel
