#pragma once

#include <sys/types.h>

#include <boost/json/value.hpp>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// One window of an application, as sway describes it.
struct SwayView {
    ClientWindow window;
    std::string title;
    /// What of it is seen, without sway's border and title bar, in units of the layout.
    PixelRect area;
    bool focused = false;
    bool floating = false;
    /// On a workspace that is on an output.
    bool visible = false;
    /// An X11 program's.
    bool xwayland = false;
};

/// The views of a tree (the answer to GET_TREE), the one used last at the end. What is malformed is left out.
/// Pure.
std::vector<SwayView> readSwayViews(const boost::json::value& tree);

}  // namespace varkel
