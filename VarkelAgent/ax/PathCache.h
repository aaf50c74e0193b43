#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "ax/AXElementInfo.h"

namespace varkel {

/// Remembers at which ordinal path each recently issued element id belongs, so that an element can be gone
/// straight to. The path is part of what the id is computed from: the id is recomputed there, so an
/// entry that is wrong or missing costs time, never the right answer. Bounded. Any thread.
class PathCache {
  public:
    static PathCache& shared();

    explicit PathCache(std::size_t capacity = 65'536) : capacity_(capacity) {}

    /// Remembers the ids of a tree whose root has the ordinal path "0".
    void insert(const AXElementInfo& tree);

    std::optional<std::string> pathOf(const std::string& elementId) const;

  private:
    using Paths = std::unordered_map<std::string, std::string>;

    const std::size_t capacity_;
    mutable std::mutex mutex_;
    // Two generations: when the young one is half of the capacity it becomes the old one, and the old one is
    // dropped.
    Paths young_;
    Paths old_;
};

}  // namespace varkel
