#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "base/Task.h"
#include "http/HTTPMessage.h"

namespace varkel::inspector {

/// A route of the agent that a page may use.
struct HandedOn {
    std::string_view method;
    std::string_view path;
    /// For the whole exchange.
    std::chrono::seconds limit;
};

/// The route with this method and path, or null: the page looks at elements and acts on them; it runs no
/// scripts and has no files read.
const HandedOn* findHandedOn(std::string_view method, std::string_view path);

/// Hands requests on to the agent and adds the token. Any thread.
class Relay {
  public:
    /// `findToken` gives the token, or the empty text when there is none; it is asked again after the agent
    /// has refused one. It may block for as long as reading a small file takes.
    Relay(std::uint16_t agentPort, std::function<std::string()> findToken);

    std::uint16_t agentPort() const { return agentPort_; }

    /// The agent's answer: its status, its body, and whether a cache had it. When none comes, 502 or 504 with
    /// a message for the person.
    Task<HTTPResponse> send(std::string method, std::string path, std::string body,
                            std::chrono::seconds limit);

  private:
    std::string token();
    void forgetToken();

    const std::uint16_t agentPort_;
    const std::function<std::string()> findToken_;
    std::mutex mutex_;
    std::string token_;
};

}  // namespace varkel::inspector
