#pragma once

#include "http/HTTPServer.h"

namespace varkel {

/// Registers every endpoint, in order. Before the server starts.
void registerRoutes(HTTPServer& server);

}  // namespace varkel
