#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/linux/atspi/AtspiSession.h"
#include "platform/linux/atspi/WindowPlaces.h"

namespace varkel {

/// Where the elements of one session are on the screen. The windows are read when the first element is asked
/// for, and once. Belongs to one thread at a time, as its session does.
class ElementPlaces {
  public:
    /// The windows of a process that are on the screen.
    using ScreenWindows = std::function<ProcessWindows(pid_t process)>;

    /// The session outlives this object.
    ElementPlaces(AtspiSession& session, ScreenWindows screenWindows)
        : session_(session), screenWindows_(std::move(screenWindows)) {}

    /// The rectangle of a node whose extents are known; nothing when its place cannot be told. Waits for the
    /// application as AtspiSession::load() does, and for the screen's windows, once.
    std::optional<PixelRect> frame(std::uint32_t node);

  private:
    /// How the extents of a node and of what is below it become pixels; nothing when that cannot be told.
    struct Surface {
        std::optional<Placement> placement;
        /// As above, outside of the root pane that the node is in.
        std::optional<Placement> outside;
    };

    void loadWindows();
    AtspiExtents extentsOfWindow(std::uint32_t window);
    AtspiExtents topOfWindow(std::uint32_t window);
    std::optional<std::uint32_t> topChild(std::uint32_t node);
    Surface surfaceOf(std::uint32_t node);
    Surface surfaceBelow(std::uint32_t node, const Surface& around);
    std::optional<Placement> inPage(std::uint32_t node, const Placement& around);
    std::optional<Placement> inPopover(std::uint32_t node, const Placement& around, bool menu);
    Surface inRootPane(std::uint32_t node, const Surface& around, bool pane);
    bool loadWithParent(std::uint32_t node);

    AtspiSession& session_;
    const ScreenWindows screenWindows_;
    ExtentsConvention convention_;
    std::optional<WindowPlaces> windows_;
    /// Of the nodes that were asked for, and of those above them.
    std::unordered_map<std::uint32_t, Surface> known_;
};

}  // namespace varkel
