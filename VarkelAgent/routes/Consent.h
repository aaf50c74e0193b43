#pragma once

#include <boost/json/object.hpp>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "routes/OverlayClient.h"

namespace varkel {

/// What is told of an action to a service that asks for details. Called on the request's I/O thread.
using DetailsOfAction = std::function<Task<boost::json::object>()>;

/// Stands before every action that changes something: lets it through when there is no overlay service or the
/// caller brings the person's consent and the service's secret, and asks the person otherwise. Gives nothing
/// when the action may go ahead, or the answer to give instead. `target` is what is acted upon, as the person
/// is shown it; a service that wants details gets those, too, before it is asked. Holds no thread while the
/// person thinks. The arguments must outlive the task.
Task<std::optional<HTTPResponse>> checkDestructiveConsent(const HTTPRequest& request,
                                                          const std::optional<OverlayClient>& overlay,
                                                          std::string_view action,
                                                          std::optional<std::string> target,
                                                          DetailsOfAction details = {});

}  // namespace varkel
