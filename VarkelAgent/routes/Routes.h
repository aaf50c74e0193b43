#pragma once

namespace varkel {

class HTTPServer;

/// Registers the agent's endpoints in order. Called once, before the server starts.
void registerRoutes(HTTPServer& server);

}  // namespace varkel
