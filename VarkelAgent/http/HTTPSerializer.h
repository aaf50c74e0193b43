#pragma once

#include <string>

#include "http/HTTPMessage.h"

namespace varkel {

/// The status line and the header lines of a response, with the empty line that ends them. A Connection and
/// a Content-Length line are added when the response has none. Any thread.
std::string serializeHead(const HTTPResponse& response);

/// The bytes of a response: its head and its body. Any thread.
std::string serializeResponse(const HTTPResponse& response);

/// The reason phrase of a status; "Unknown" for those that the agent gives no phrase. Any thread.
const char* statusText(int status);

}  // namespace varkel
