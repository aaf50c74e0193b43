#pragma once

#include <boost/describe.hpp>
#include <optional>
#include <string>
#include <vector>

namespace varkel::overlay {

/// An event as the agent sends it: the prompt, or the details of the action that the next prompt is about.
struct AgentEvent {
    std::string type;
    std::optional<std::string> id;
    std::optional<std::string> action;
    std::optional<std::string> target;

    std::optional<std::string> elementId;
    std::optional<std::string> batch_id;
    std::optional<std::string> text;
    std::optional<std::string> direction;
    std::optional<std::vector<std::string>> keys;
    std::optional<std::string> app_bundle_id;
    std::optional<std::string> app_name;
    std::optional<std::string> name;
    std::optional<std::string> input;
    std::optional<std::string> script;
    std::optional<bool> shortened;
    std::optional<bool> malformed;
};
BOOST_DESCRIBE_STRUCT(AgentEvent, (),
                      (type, id, action, target, elementId, batch_id, text, direction, keys, app_bundle_id,
                       app_name, name, input, script, shortened, malformed))

/// What the agent is about to do.
struct Action {
    /// The prompt's action, such as "click", and its target.
    std::string kind;
    std::string target;
    /// Nothing when the agent has sent none.
    std::optional<AgentEvent> details;
};

}  // namespace varkel::overlay
