#pragma once

#include <boost/describe/class.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

class ChildProcess;

/// The body of a request to run a Shortcut.
struct ShortcutRequest {
    std::string name;
    /// Written to the Shortcut's standard input.
    std::optional<std::string> input;
    /// Milliseconds; 15,000 when absent, 1,000 at the least.
    std::optional<std::int64_t> timeoutMs;
};
BOOST_DESCRIBE_STRUCT(ShortcutRequest, (), (name, input, timeoutMs))

/// Runs a Shortcut by its name and answers with what it printed, whatever happens. One that outlasts its
/// time limit is stopped together with what it has started. Started on an I/O thread; blocks none.
Task<HTTPResponse> runShortcut(ShortcutRequest request);

/// Answers with the names of the Shortcuts. The request does not matter; there is no time limit. Started on
/// an I/O thread; blocks none.
Task<HTTPResponse> listShortcuts(HTTPRequest request);

/// Waits for a process, feeding and draining it meanwhile, until it has ended (true) or `timeoutMs`
/// milliseconds have passed (false). Blocks. Throws OutputLimitError.
bool waitForProcessExit(ChildProcess& process, std::int64_t timeoutMs);

}  // namespace varkel
