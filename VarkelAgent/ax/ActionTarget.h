#pragma once

#include <optional>
#include <string>

#include "http/HTTPMessage.h"
#include "platform/Accessibility.h"

namespace varkel {

/// The element to act on, or the answer that ends the request.
struct ActionTarget {
    AXUIElementRef element;
    std::optional<HTTPResponse> answer;
};

/// Finds an element by its id in the application that the batch is pinned to, else in the frontmost one, as
/// it is now. Blocks; any thread.
ActionTarget locateActionTarget(const std::string& elementId, const std::optional<std::string>& batchId);

}  // namespace varkel
