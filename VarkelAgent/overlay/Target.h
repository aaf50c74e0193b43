#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/AXFrame.h"

namespace varkel::overlay {

/// What an action acts upon, as the application itself tells it.
struct Target {
    enum class State {
        /// Nothing has to be looked up: a script, a Shortcut.
        none,
        found,
        /// The application is there and has no such element.
        gone,
        /// There is no token to ask the agent with, or the agent has refused it.
        noToken,
        /// The agent or the application did not answer.
        noAnswer,
    };

    State state = State::none;
    std::string application;
    /// The id of the application's own element, which belongs to one process: what a grant is for.
    std::string applicationId;
    std::string role;
    /// The element's label, or else that of the first element in it that has one.
    std::string label;
    std::optional<AXFrame> frame;
};

/// Reads the agent's answer to a search for an application's own element, and finds in it the element with
/// this id; with an empty one only the application is looked for. Does not throw; any thread.
Target findTarget(std::string_view answer, std::string_view elementId);

}  // namespace varkel::overlay
