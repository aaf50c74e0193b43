#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <span>

#include "base/Deadline.h"
#include "platform/EventPoster.h"

namespace varkel {

/// The desktop does not lend its devices this way; another one may work.
class NotLent : public EventError {
  public:
    using EventError::EventError;
};

/// A keyboard and a pointer that the desktop lends this process. One thread at a time. What was not done by
/// its deadline, or not at all, is thrown as an EventError; after that the next call begins anew.
class InputDevices {
  public:
    InputDevices() = default;
    InputDevices(const InputDevices&) = delete;
    InputDevices& operator=(const InputDevices&) = delete;
    virtual ~InputDevices() = default;

    /// Whether the desktop offers such devices at all. Blocks within the deadline.
    virtual bool isOffered(Deadline deadline) = 0;

    /// Makes sure that the desktop has lent them. Whether it has only now: applications may not know them
    /// yet. May ask the person, and then waits longer than the deadline: a minute at the most.
    /// Throws NotLent when it lends none this way.
    virtual bool open(Deadline deadline) = 0;

    /// Finds out what is on the keys now.
    virtual void readLayout(Deadline deadline) = 0;

    /// Whether a key gives this keysym, as far as readLayout() found out.
    virtual bool hasKey(xkb_keysym_t keysym) = 0;

    /// Presses and releases the key that gives a keysym while modifiers, by their keysyms, are held. All of
    /// it goes out at once, so that no key can stay down.
    virtual void press(xkb_keysym_t keysym, std::span<const xkb_keysym_t> modifiers, Deadline deadline) = 0;

    /// Moves the pointer to a point of the screen.
    virtual void moveTo(CGPoint point, Deadline deadline) = 0;

    virtual void button(bool down, Deadline deadline) = 0;

    /// Steps of the wheel, positive down and right.
    virtual void turnWheel(std::int32_t vertical, std::int32_t horizontal, Deadline deadline) = 0;
};

}  // namespace varkel
