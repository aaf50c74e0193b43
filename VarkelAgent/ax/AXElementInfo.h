#pragma once

#include <boost/describe/class.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/AXFrame.h"

namespace varkel {

/// One element of a tree that was read at one moment. A value: a copy owns its whole subtree.
struct AXElementInfo {
    /// The element id: 16 lower-case hexadecimal digits.
    std::string id;
    std::string role;
    std::optional<std::string> label;
    /// The element's value when that is a text.
    std::optional<std::string> value;
    std::optional<std::string> identifier;
    std::optional<AXFrame> frame;
    std::optional<bool> enabled;
    std::optional<bool> focused;
    /// In the application's order; absent when they could not be read.
    std::optional<std::vector<AXElementInfo>> children;
    /// Where the application lists it among its siblings, some of which may be left out here. Not written.
    std::size_t position = 0;
    friend bool operator==(const AXElementInfo&, const AXElementInfo&) = default;
};
BOOST_DESCRIBE_STRUCT(AXElementInfo, (),
                      (id, role, label, value, identifier, frame, enabled, focused, children))

}  // namespace varkel
