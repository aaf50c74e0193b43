#pragma once

#include <boost/json/object.hpp>
#include <cstddef>

#include "ax/AXActions.h"
#include "keys/Keystrokes.h"
#include "scripts/AppleScript.h"
#include "scripts/Shortcuts.h"

namespace varkel {

/// How many bytes of a text, and how many keys, an overlay service is told.
inline constexpr std::size_t longestDetail = 65'536;
inline constexpr std::size_t mostDetailedKeys = 500;

/// What a request asks for, as an overlay service is told it that wants to show more than a prompt has: the
/// request's own fields, without those that are absent. Where something has been cut, "shortened" is true.
/// Any thread.
boost::json::object actionDetails(const AXClickRequest& request);
boost::json::object actionDetails(const AXTypeRequest& request);
boost::json::object actionDetails(const AXScrollRequest& request);
boost::json::object actionDetails(const SendKeystrokesRequest& request);
boost::json::object actionDetails(const ShortcutRequest& request);
boost::json::object actionDetails(const AppleScriptRequest& request);

}  // namespace varkel
