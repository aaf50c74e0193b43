#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/linux/atspi/AtspiSession.h"

namespace varkel {

/// Reads whole subtrees of a session ahead, with as many calls on their way at once as the application takes
/// instead of one wait per element. One for each session; belongs to one thread at a time, as it does.
class AtspiPrefetch {
  public:
    /// The session outlives this object.
    explicit AtspiPrefetch(AtspiSession& session) : session_(session) {}

    /// Reads the parts that `attributes` need, of a node and everything below it. An application that builds
    /// its tree only when it is asked to is made to build it.
    void load(std::uint32_t index, std::span<const AXAttribute> attributes, const PrefetchScope& scope);

  private:
    std::size_t run(std::uint32_t index);
    void visit(std::uint32_t index);
    void goOn(std::uint32_t index, AtspiPart part);
    void askValue(std::uint32_t index);
    void askExtentsOnceItMayHaveThem(std::uint32_t index);
    bool isDormant() const;
    bool hasEmptyDocument() const;
    void wake();
    void askWindowsForAttributes();

    AtspiSession& session_;
    bool values_ = false;
    bool states_ = false;
    bool extents_ = false;
    PrefetchScope scope_{};
    /// Tells the visits of this run from those of the runs before.
    std::uint32_t number_ = 0;
    std::size_t visited_ = 0;
};

}  // namespace varkel
