#pragma once

#include <gtk/gtk.h>

#include <array>
#include <optional>

#include "base/AXFrame.h"
#include "overlay/Placement.h"

namespace varkel::overlay {

/// A frame on the screen around what a question is about. It lets the pointer through and takes no focus. The
/// display's thread.
class TargetMark {
  public:
    TargetMark();
    TargetMark(const TargetMark&) = delete;
    TargetMark& operator=(const TargetMark&) = delete;
    ~TargetMark();

    /// Marks a place, or nothing.
    void mark(const std::optional<Box>& target);

    /// The place that lies at these pixels.
    Box boxOf(const AXFrame& frame) const;

  private:
    /// A window for each side: one with a hole is drawn without it where the X server is not alone.
    std::array<GtkWidget*, 4> sides_;
    std::optional<Box> target_;
};

}  // namespace varkel::overlay
