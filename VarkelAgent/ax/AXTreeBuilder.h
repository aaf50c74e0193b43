#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "ax/AXElementInfo.h"
#include "platform/Accessibility.h"

namespace varkel {

/// Bounds that no sane hierarchy comes near, for those that loop through fresh elements or never end. What
/// lies beyond is left out as if its parent's children could not be read.
inline constexpr std::size_t maxTreeDepth = 1024;
inline constexpr std::size_t maxTreeElements = 250'000;

/// The bytes of text in one tree. A short hierarchy of long texts comes near when elements are listed more
/// than once; texts beyond are absent.
inline constexpr std::size_t maxTreeText = std::size_t{256} << 20;

/// The elements from where a walk began down to where it is. Every walk leaves an element out below itself,
/// so that all of them come to the same elements. Any thread, one at a time.
class Ancestors {
  public:
    std::size_t depth() const { return elements_.size(); }
    bool contains(const AXUIElementRef& element) const;
    void enter(const AXUIElementRef& element) { elements_.push_back(element); }
    void leave() { elements_.pop_back(); }

  private:
    std::vector<AXUIElementRef> elements_;
};

/// The snapshot of an element and all its descendants. An element that turns up among its own ancestors is
/// left out there. Blocks for the reads; any thread. Unreadable attributes are absent; never fails as a
/// whole.
AXElementInfo buildTree(const AXUIElementRef& element, std::string_view ordinalPath);

}  // namespace varkel
