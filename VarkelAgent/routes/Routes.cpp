#include "routes/Routes.h"

namespace varkel {

namespace {

Task<HTTPResponse> health(HTTPRequest) {
    co_return healthResponse();
}

}  // namespace

void registerRoutes(HTTPServer& server) {
    server.registerRoute("GET", "/health", health);
}

}  // namespace varkel
