#pragma once

#include <gtk/gtk.h>

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
    ~TargetMark() { gtk_widget_destroy(window_); }

    /// Marks a place, or nothing.
    void mark(const std::optional<Box>& target);

    /// The place that lies at these pixels.
    Box boxOf(const AXFrame& frame) const;

  private:
    GtkWidget* window_;
    std::optional<Box> target_;
};

}  // namespace varkel::overlay
