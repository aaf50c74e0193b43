#pragma once

#include <string>

namespace varkel {

/// Writes a text to the standard output at once, so that it stands before what a child process writes next.
void print(const std::string& text);

}  // namespace varkel
