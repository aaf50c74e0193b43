#pragma once

#include <boost/json/object.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "mcp/Call.h"

namespace varkel::mcp {

/// A request to the agent. Without a body it is a GET. To be a variable of the coroutine that sends it: g++
/// 12 destroys an aggregate twice that is written inside a co_await expression.
struct AgentRequest {
    std::string path;
    std::optional<boost::json::object> body;
    /// None where the agent itself sets none: a script, a text of any length.
    std::optional<std::chrono::steady_clock::duration> limit = std::chrono::seconds(60);
};

struct AgentAnswer {
    unsigned status = 0;
    /// Never null.
    SharedBody body;
    /// The agent read this anew, for this request.
    bool fresh = true;
};

/// The way to the agent. Used on the executor's thread only.
class Agent {
  public:
    virtual ~Agent() = default;
    /// Throws ToolError when no answer comes, Cancelled.
    virtual Task<AgentAnswer> request(AgentRequest request, Call& call) = 0;
};

/// The agent on this machine, over HTTP; a connection of its own for each request, since a request that may
/// act must not be sent a second time when a kept connection turns out to have ended.
class HTTPAgent : public Agent {
  public:
    /// `findToken` gives the token, or the empty text when there is none; it is asked again after the agent
    /// has refused one.
    HTTPAgent(std::uint16_t port, std::function<std::string()> findToken);
    Task<AgentAnswer> request(AgentRequest request, Call& call) override;

  private:
    Task<AgentAnswer> exchange(AgentRequest request, Call& call);
    const std::string& token();

    std::uint16_t port_;
    std::function<std::string()> findToken_;
    std::string token_;
};

}  // namespace varkel::mcp
