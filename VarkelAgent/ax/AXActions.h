#pragma once

#include <boost/describe/class.hpp>
#include <optional>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a click request.
struct AXClickRequest {
    std::string elementId;
    std::optional<std::string> batch_id;
};
BOOST_DESCRIBE_STRUCT(AXClickRequest, (), (elementId, batch_id))

/// The body of a type request.
struct AXTypeRequest {
    std::string elementId;
    std::string text;
    std::optional<std::string> batch_id;
};
BOOST_DESCRIBE_STRUCT(AXTypeRequest, (), (elementId, text, batch_id))

/// The body of a scroll request.
struct AXScrollRequest {
    std::string elementId;
    /// "up", "down", "left" or "right", in any letter case.
    std::string direction;
    /// Every 50 is one scroll step; 100 when absent.
    std::optional<double> amount;
    std::optional<std::string> batch_id;
};
BOOST_DESCRIBE_STRUCT(AXScrollRequest, (), (elementId, direction, amount, batch_id))

/// Each finds the element again in the live hierarchy, acts on it, and answers, whatever happens. Started on
/// an I/O thread; blocks none.
Task<HTTPResponse> axClick(AXClickRequest request);
Task<HTTPResponse> axType(AXTypeRequest request);

/// As axClick() and axType(). A scroll of many steps ends early when `client`, which may be null, has gone.
Task<HTTPResponse> axScroll(AXScrollRequest request, RequestClient* client);

}  // namespace varkel
