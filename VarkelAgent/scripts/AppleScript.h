#pragma once

#include <boost/describe/class.hpp>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a request to run a script.
struct AppleScriptRequest {
    std::string script;
};
BOOST_DESCRIBE_STRUCT(AppleScriptRequest, (), (script))

/// Runs a script's source with the system's script interpreter and answers with what it printed, whatever
/// happens. There is no time limit. Started on an I/O thread; blocks none.
Task<HTTPResponse> runAppleScript(AppleScriptRequest request);

}  // namespace varkel
