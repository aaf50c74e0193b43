#pragma once

#include "mcp/Agent.h"

namespace varkel::mcp {

/// Throws ToolError with a sentence that helps to go on, unless the agent did what was asked.
void throwIfFailed(const AgentAnswer& answer);

}  // namespace varkel::mcp
