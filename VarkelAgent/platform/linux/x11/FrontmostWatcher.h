#pragma once

#include <sys/types.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// Which process owns the active window, by the window manager's hints. What was read last stays valid until
/// the X server sends an event that says otherwise, so asking again costs no round trip. Any thread.
class FrontmostWatcher {
  public:
    FrontmostWatcher() = default;

    /// The process of the active window. Nothing without a window manager, an active window or an X server.
    /// Reads what has changed, within `limit`.
    std::optional<pid_t> ask(std::chrono::milliseconds limit);

    /// The process of the active window when that is known without waiting; otherwise nothing.
    std::optional<pid_t> peek();

  private:
    /// Takes in the events that have arrived. Under the connection's lock.
    void drain(xcb_connection_t* connection);
    void refresh(X11Connection::Session& session);

    X11Connection connection_;
    // What follows is touched only under the connection's lock.
    std::uint64_t generation_ = 0;
    bool current_ = false;
    xcb_atom_t activeWindowAtom_ = XCB_ATOM_NONE;
    xcb_atom_t managerAtom_ = XCB_ATOM_NONE;
    xcb_atom_t pidAtom_ = XCB_ATOM_NONE;
    std::optional<pid_t> pid_;
};

}  // namespace varkel
