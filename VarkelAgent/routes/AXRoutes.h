#pragma once

#include <optional>

#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "routes/OverlayClient.h"

namespace varkel {

/// The accessibility endpoints: each decodes its body, answers a malformed one itself, and hands the rest on.
/// Those that act ask the person first, through the overlay service where there is one.
Task<HTTPResponse> treeRoute(HTTPRequest request);
Task<HTTPResponse> findRoute(HTTPRequest request);
Task<HTTPResponse> clickRoute(HTTPRequest request, std::optional<OverlayClient> overlay);
Task<HTTPResponse> typeRoute(HTTPRequest request, std::optional<OverlayClient> overlay);
Task<HTTPResponse> scrollRoute(HTTPRequest request, std::optional<OverlayClient> overlay);

}  // namespace varkel
