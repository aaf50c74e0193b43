#pragma once

#include "platform/linux/applescript/ScriptDesktop.h"

namespace varkel::applescript {

/// Shows a notification with the session's notification service. Throws ExecutionError when there is none, or
/// it does not answer within 5 seconds.
void showNotification(const Notification& notification);

}  // namespace varkel::applescript
