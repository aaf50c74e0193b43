#pragma once

namespace varkel {

/// Has this process, and what it turns into by exec, end with the process that started it: a script must not
/// run on when the agent that would take its answer is gone.
void endWithParent();

/// Has the polite stop of this process reach its whole group when it leads one: the commands that it has
/// started and waits for.
void stopGroupAlong();

}  // namespace varkel
