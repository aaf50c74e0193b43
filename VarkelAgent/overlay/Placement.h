#pragma once

#include <optional>
#include <vector>

namespace varkel::overlay {

/// A rectangle on the screen; the unit is the caller's.
struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    friend bool operator==(const Box&, const Box&) = default;
};

/// Where a window of this size goes in an area: its upper right corner, or the first other one in which it
/// does not cover `target`. Any thread, like both of these.
Box placePrompt(const Box& area, int width, int height, const std::optional<Box>& target);

/// The four sides of a frame around what of a target lies on a screen of this size, themselves on the screen;
/// none for a target that is not on it.
std::vector<Box> frameAround(const Box& target, int screenWidth, int screenHeight);

}  // namespace varkel::overlay
