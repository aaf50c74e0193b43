#pragma once

#include <string>
#include <vector>

namespace varkel {

// The user's service manager, through its own tool, systemctl. Every operation blocks, within a deadline.

/// Whether a manager answers at all.
bool userManagerAnswers();

/// Whether a desktop has told the manager that it is there.
bool hasGraphicalSession();

/// Runs the tool with these words. Throws LoginItemError with what it wrote when it does not succeed.
void controlUserManager(const std::vector<std::string>& words);

}  // namespace varkel
