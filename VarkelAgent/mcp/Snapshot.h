#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "mcp/Element.h"

namespace varkel::mcp {

/// How many characters an answer has unless something else is asked for.
inline constexpr std::size_t usualCharacters = 20'000;

/// Which elements of a tree are shown.
struct SnapshotOptions {
    /// How many levels below the first element.
    std::optional<std::size_t> depth;
    /// Only elements of this role, with what they are in.
    std::optional<std::string> role;
    /// Only elements with this in their label or value, whatever its letter case, with what they are in.
    std::optional<std::string> text;
    /// For all lines together.
    std::size_t maxCharacters = usualCharacters;
    /// Also what has neither label nor value nor action.
    bool all = false;
};

struct Snapshot {
    /// One line an element, indented by its level.
    std::string text;
    std::size_t shown = 0;
    /// Of the whole tree.
    std::size_t elements = 0;
    /// Left out because there is nothing to them, or because they were not asked for.
    std::size_t leftOut = 0;
    /// Left out because they had no room, or lie too deep.
    std::size_t noRoom = 0;
};

/// What fits of a tree: upper levels before lower ones, and the first of many elements of the same role
/// before the rest. Whatever is shown is shown whole, and so is what it is in. Any thread.
Snapshot makeSnapshot(const Element& root, const SnapshotOptions& options);

}  // namespace varkel::mcp
