#pragma once

#include <optional>
#include <string>
#include <vector>

#include "http/HTTPServer.h"
#include "routes/OverlayClient.h"

namespace varkel {

struct Endpoint {
    std::string method;
    std::string path;
    RouteHandler handler;
};

/// The agent's endpoints, in order. Those that change something ask the person through `overlay` first;
/// without it they never ask.
std::vector<Endpoint> endpoints(const std::optional<OverlayClient>& overlay);

/// Registers them. Called once, before the server starts.
void registerRoutes(HTTPServer& server, const std::optional<OverlayClient>& overlay);

}  // namespace varkel
