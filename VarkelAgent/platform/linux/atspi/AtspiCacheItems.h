#pragma once

#include "platform/linux/atspi/AtspiSession.h"

namespace varkel {

/// Takes name, role, states and child count of all objects that the application keeps a list of, in one
/// reply; some keep none. The session is connected, and spreads no calls.
void loadCacheItems(AtspiSession& session);

}  // namespace varkel
