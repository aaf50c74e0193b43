#pragma once

#include "http/Task.h"

namespace varkel {

/// The accessibility endpoints: each decodes its body, answers a malformed one itself, and hands the rest on.
Task<HTTPResponse> treeRoute(HTTPRequest request);
Task<HTTPResponse> findRoute(HTTPRequest request);
Task<HTTPResponse> clickRoute(HTTPRequest request);
Task<HTTPResponse> typeRoute(HTTPRequest request);
Task<HTTPResponse> scrollRoute(HTTPRequest request);

}  // namespace varkel
