#pragma once

#include "http/Task.h"

namespace varkel {

/// Reads an application's tree and an image's text at the same time. Answers whatever happens.
Task<HTTPResponse> treeAndOCR(HTTPRequest request);

}  // namespace varkel
