#pragma once

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <optional>
#include <string>

#include "routes/OverlayClient.h"
#include "support/ScriptedOverlay.h"
#include "support/TemporaryFolder.h"

namespace varkel::test {

/// A home directory, and the overlay clients that are found in it.
class TemporaryHome : public TemporaryFolder {
  public:
    static constexpr const char* secret = "overlay secret";

    /// The client that a discovery file with this text leads to, if any.
    std::optional<OverlayClient> clientOf(const std::string& discovery, URLSession session = {}) const {
        write("Library/Application Support/Quellan/Varkel/overlay.sock", discovery);
        return OverlayClient::init(session, path());
    }

    std::optional<OverlayClient> clientOf(const ScriptedOverlay& overlay, URLSession session = {}) const {
        const boost::json::object discovery{{"port", overlay.port()}, {"token", secret}};
        return clientOf(boost::json::serialize(discovery), session);
    }
};

}  // namespace varkel::test
