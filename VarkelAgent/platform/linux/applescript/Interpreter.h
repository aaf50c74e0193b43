#pragma once

#include <optional>

#include "platform/linux/applescript/ScriptDesktop.h"
#include "platform/linux/applescript/Syntax.h"

namespace varkel::applescript {

/// Carries a script out and gives the value of its "return", or else of the last statement that was carried
/// out; nothing when that has none. Throws ExecutionError with the line. Blocks as long as the script takes.
std::optional<Value> runScript(const Script& script, ScriptDesktop& desktop);

}  // namespace varkel::applescript
