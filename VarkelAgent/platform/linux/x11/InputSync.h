#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>

#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// Waits until the application that has the keyboard focus has read the events that were posted to it, no
/// longer than `patience`. An application looks up what a key means when it reads the event, not when the key
/// is pressed: a key code may get another meaning only after this.
///
/// Applications that answer the window manager's ping are asked with one, which they read in its place among
/// the events; false when no answer came. Others get a fixed time, and true is a guess.
bool waitUntilEventsAreRead(X11Connection::Session& session, std::chrono::milliseconds patience);

/// Who gets the keys. A window alone is not enough: another application may get its number.
struct KeyReceiver {
    xcb_window_t window = XCB_WINDOW_NONE;
    std::optional<pid_t> process;
    friend bool operator==(const KeyReceiver&, const KeyReceiver&) = default;
};

/// The window that has the keyboard focus now, and its process.
KeyReceiver keyReceiver(X11Connection::Session& session);

/// The window that has the keyboard focus, or XCB_WINDOW_NONE.
xcb_window_t focusedWindow(X11Connection::Session& session);

/// Whether two windows are of one connection to the server, and so of one application.
bool haveOneOwner(X11Connection::Session& session, xcb_window_t a, xcb_window_t b);

/// Waits until keys that are pressed reach the application in front: the focus has arrived where the window
/// manager says that it is, the application has read that it has it (by a ping), and one that was just
/// started has come to rest. Less than five seconds in all; who gets the keys then.
/// Events of the connection that come meanwhile are lost, as in waitUntilEventsAreRead().
KeyReceiver waitUntilKeysAreHeard(X11Connection::Session& session);

}  // namespace varkel
