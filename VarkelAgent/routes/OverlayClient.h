#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/Environment.h"
#include "base/Task.h"
#include "routes/URLSession.h"

namespace varkel {

/// Talks to the overlay service, which shows the person what is about to happen and asks for consent. An
/// immutable value: any thread, any number of exchanges at once.
class OverlayClient {
  public:
    /// The client of the service that has left its address and its secret in the person's home directory;
    /// nothing when there is none. A file that is there and cannot be used counts as none and is reported on
    /// standard error. Any thread.
    static std::optional<OverlayClient> init(URLSession urlSession,
                                             const std::string& home = homeDirectory(environment()));

    /// Sends an event, with its type under "type", and waits until the service has answered or failed to.
    /// Which of them is not told; does not throw. The client must outlive the task.
    Task<void> emitEvent(std::string_view type, boost::json::object payload) const;

    /// Asks until the service has decided on a prompt, for 2 seconds; a question that is under way by then is
    /// still waited for, so a service that answers once the person has decided gives them a minute. Whether
    /// consent was given: every failure is a no. Does not throw. The client must outlive the task.
    Task<bool> checkConsent(std::string id) const;

    /// Whether the service wants to know more of an action than a prompt has.
    bool wantsDetails() const { return wantsDetails_; }

    /// The secret shared with the service.
    const std::string& token() const { return token_; }

  private:
    OverlayClient(std::int64_t port, std::string token, bool wantsDetails, URLSession urlSession)
        : port_(port), token_(std::move(token)), wantsDetails_(wantsDetails), urlSession_(urlSession) {}

    std::optional<URLRequest> makeRequest(std::string method, std::string path) const;

    /// As the file has it; there may be no such port.
    std::int64_t port_;
    std::string token_;
    bool wantsDetails_;
    URLSession urlSession_;
};

}  // namespace varkel
