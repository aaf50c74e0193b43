#pragma once

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// POST "/batch/begin": pins a batch to the application that is in front.
Task<HTTPResponse> batchBegin(HTTPRequest request);

/// POST "/batch/end": forgets a batch.
Task<HTTPResponse> batchEnd(HTTPRequest request);

}  // namespace varkel
