#include "routes/Routes.h"

#include <utility>

#include "keys/Keystrokes.h"

namespace varkel {

namespace {

Task<HTTPResponse> health(HTTPRequest) {
    co_return healthResponse();
}

Task<HTTPResponse> keystrokes(HTTPRequest request) {
    return sendKeystrokes(std::move(request));
}

}  // namespace

void registerRoutes(HTTPServer& server) {
    server.registerRoute("GET", "/health", health);
    server.registerRoute("POST", "/keystrokes", keystrokes);
}

}  // namespace varkel
