#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a batch request: a map of texts and nulls.
using BatchRequest = std::map<std::string, std::optional<std::string>>;

/// POST "/batch/begin": pins a batch to the application that is in front.
Task<HTTPResponse> batchBegin(BatchRequest request);

/// POST "/batch/end": forgets a batch.
Task<HTTPResponse> batchEnd(BatchRequest request);

}  // namespace varkel
