#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "mcp/Element.h"

namespace varkel::mcp {

/// How many lines an answer to an act has at the most.
inline constexpr std::size_t mostChanges = 30;

/// How the tree of an application differs from what it was a moment before.
struct Changes {
    /// Elements that changed or came, then those that went, at most `mostChanges`.
    std::vector<std::string> lines;
    /// Such elements beyond those.
    std::size_t more = 0;
    /// Elements that are as they were, under another id, since their place in the hierarchy is another.
    std::size_t renumbered = 0;
    /// Elements that are as they were, at another place on the screen.
    std::size_t moved = 0;

    bool empty() const { return lines.empty() && renumbered == 0 && moved == 0; }
};

/// Compares two trees of one application. Any thread.
Changes compareTrees(const Element& before, const Element& after);

}  // namespace varkel::mcp
