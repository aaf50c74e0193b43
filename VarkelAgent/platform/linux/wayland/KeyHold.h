#pragma once

#include <cstdint>
#include <optional>

#include "platform/linux/wayland/ForeignToplevels.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/wayland/WaylandConnection.h"

struct wl_seat;

namespace varkel {

/// Sees to it that keys reach the window that they are for, and no other one, where the compositor lists its
/// windows. One thread at a time; goes before the connection, which is the one that the keys are sent on.
class KeyHold {
  public:
    using Clock = WaylandConnection::Clock;

    /// `connection` outlives this object.
    explicit KeyHold(WaylandConnection& connection) : connection_(connection) {}

    /// `seat` is there until clear().
    void open(wl_seat* seat, Clock::time_point deadline);
    void clear();

    /// Keys are for whatever has the keyboard.
    void release() { receiver_.reset(); }

    /// Keys are for the window that has the focus, as `teller` has told: from now on as long as it is the
    /// same one. What has the keyboard may be no window when a text begins; then that is to keep it. False
    /// when another one has it, nothing when the compositor does not answer by then.
    std::optional<bool> holdTo(const KeyFocus& focus, KeyFocusTeller& teller, Clock::time_point deadline);

    /// Comes right before the key, so that the compositor reads both at once.
    void beforeKey();
    /// Once the compositor has read the key. False when it does not answer by then.
    bool afterKey(Clock::time_point deadline);

  private:
    /// By both of its names. The compositor's list has none, 0, for what is no application's.
    struct Receiver {
        WindowId window = 0;
        WindowId toplevel = 0;
    };

    WaylandConnection& connection_;
    wl_seat* seat_ = nullptr;
    ForeignToplevels toplevels_;
    std::optional<Receiver> receiver_;
    /// As ForeignToplevels::changes(), before a key that is held.
    std::optional<std::uint64_t> changes_;
};

}  // namespace varkel
