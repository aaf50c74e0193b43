#pragma once

#include <chrono>

#include "platform/linux/X11Connection.h"

namespace varkel {

/// Waits until the application that has the keyboard focus has read the events that were posted to it, no
/// longer than `patience`. An application looks up what a key means when it reads the event, not when the key
/// is pressed: a key code may get another meaning only after this.
///
/// Applications that answer the window manager's ping are asked with one, which they read in its place among
/// the events; false when no answer came. Others get a fixed time, and true is a guess.
bool waitUntilEventsAreRead(X11Connection::Session& session, std::chrono::milliseconds patience);

}  // namespace varkel
