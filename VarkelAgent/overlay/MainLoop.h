#pragma once

#include <functional>

namespace varkel::overlay {

/// Has the thread of the main loop call a function, in turn and not before this returns. Any thread.
void runOnMain(std::function<void()> function);

}  // namespace varkel::overlay
