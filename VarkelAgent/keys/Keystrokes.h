#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/BlockingPool.h"
#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "keys/AppActivation.h"

namespace varkel {

struct SendKeystrokesRequest {
    std::optional<std::string> text;
    std::optional<std::vector<std::string>> keys;
    std::optional<std::string> app_bundle_id;
    std::optional<std::string> app_name;
    std::optional<std::string> mode;
    std::optional<std::int64_t> delay_ms;
};
BOOST_DESCRIBE_STRUCT(SendKeystrokesRequest, (), (text, keys, app_bundle_id, app_name, mode, delay_ms))

/// Brings an application to the front, types a text into it and presses key chords, paced by the request's
/// delay. Answers every failure itself. `sleep` waits between events.
Task<HTTPResponse> sendKeystrokes(SendKeystrokesRequest request, Sleeper sleep = sleepFor);

}  // namespace varkel
