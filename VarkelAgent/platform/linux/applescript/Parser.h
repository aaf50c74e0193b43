#pragma once

#include <string_view>

#include "platform/linux/applescript/Syntax.h"

namespace varkel::applescript {

/// What a script's source says. Any bytes may come in; a nesting deeper than 100 levels is an error like any
/// other. Nothing is carried out. Throws SyntaxError. Pure; any thread.
Script parseScript(std::string_view source);

}  // namespace varkel::applescript
