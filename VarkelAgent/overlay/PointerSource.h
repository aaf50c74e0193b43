#pragma once

#include <gdk/gdk.h>

#include <optional>
#include <utility>

namespace varkel::overlay {

/// Whether an event of a pointer comes from a device that a person holds, as the X server tells: not from the
/// ones that the XTEST extension makes events with, which are the agent's, and not sent by another program.
/// An event of which that cannot be told does not. The display's thread.
bool isFromPerson(const GdkEvent* event);

/// Where a person has left the pointer, as far as it was over windows of this program. The display's thread.
class PersonPointer {
  public:
    /// Takes in an event of a pointer. Gives true when it is the person's and comes from where the person has
    /// left the pointer: nothing else has moved it since.
    bool follow(const GdkEvent* event);

  private:
    std::optional<std::pair<double, double>> place_;
};

}  // namespace varkel::overlay
