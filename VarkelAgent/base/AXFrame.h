#pragma once

#include <boost/describe/class.hpp>

namespace varkel {

/// A rectangle, origin top left: an element's place on the screen, or a box in an image, in pixels.
struct AXFrame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const AXFrame&, const AXFrame&) = default;
};
BOOST_DESCRIBE_STRUCT(AXFrame, (), (x, y, width, height))

}  // namespace varkel
