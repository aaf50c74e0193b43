#pragma once

#include <string>
#include <string_view>

#include "platform/Accessibility.h"

namespace varkel {

/// The first element in the live hierarchy of `element`, itself included, whose id is `targetId`, in
/// pre-order; null when there is none. Every candidate's id is recomputed from what the application says now.
/// Blocks; any thread.
AXUIElementRef findElementById(const AXUIElementRef& element, std::string_view targetId,
                               std::string_view ordinalPath);

/// findElementById() from an application's element, which goes straight to where the id belongs when this
/// process has issued it before, and walks the hierarchy only when another element is found there.
AXUIElementRef findElementInApplication(const AXUIElementRef& application, const std::string& targetId);

}  // namespace varkel
