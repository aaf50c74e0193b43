#pragma once

#include <optional>

#include "routes/OverlayClient.h"

namespace varkel {

class HTTPServer;

/// Registers the agent's endpoints in order. Those that change something ask the person through `overlay`
/// first; without it they never ask. Called once, before the server starts.
void registerRoutes(HTTPServer& server, const std::optional<OverlayClient>& overlay);

}  // namespace varkel
