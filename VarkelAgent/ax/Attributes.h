#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/AXFrame.h"
#include "platform/Accessibility.h"

namespace varkel {

/// The most children that are ever read of one element.
inline constexpr std::size_t maxChildrenPerElement = 1000;

/// One attribute when it can be read and is of type T (std::string, bool, CGPoint, CGSize), otherwise
/// nothing.
template <class T>
std::optional<T> getAttribute(const AXUIElementRef& element, AXAttribute attribute);

/// The first maxChildrenPerElement children in the application's order, or nothing when they cannot be read.
std::optional<std::vector<AXUIElementRef>> getChildren(const AXUIElementRef& element);

/// The element's rectangle on the screen; nothing without both a position and a size.
std::optional<AXFrame> getFrame(const AXUIElementRef& element);

}  // namespace varkel
