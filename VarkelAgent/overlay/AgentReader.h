#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "base/Task.h"
#include "overlay/Target.h"

namespace varkel::overlay {

/// Asks the agent what an action acts upon.
class AgentReader {
  public:
    using FindToken = std::function<std::string()>;

    /// `findToken` gives the agent's token, or the empty text when there is none; it is asked for each
    /// question, since the agent may be started anew with another one.
    AgentReader(std::uint16_t port, FindToken findToken) : port_(port), findToken_(std::move(findToken)) {}

    /// The element with this id in the application of the batch, or else in the one in front; with an empty
    /// id only the application. Gives up after 3 seconds. Does not throw; any executor. The reader must
    /// outlive the task.
    Task<Target> look(std::string elementId, std::optional<std::string> batchId) const;

    /// Whether an agent is there. Does not throw; any executor. The reader must outlive the task.
    Task<bool> isThere() const;

  private:
    std::uint16_t port_;
    FindToken findToken_;
};

}  // namespace varkel::overlay
