#pragma once

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "routes/OverlayClient.h"
#include "support/ScriptedOverlay.h"

namespace varkel::test {

/// A home directory for the time of a test, and the overlay clients that are found in it.
class TemporaryHome {
  public:
    static constexpr const char* secret = "overlay secret";

    TemporaryHome() {
        std::string pattern = (std::filesystem::temp_directory_path() / "varkel-home-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;
    ~TemporaryHome() { std::filesystem::remove_all(path_); }

    const std::string& path() const { return path_; }

    /// The client that a discovery file with this text leads to, if any.
    std::optional<OverlayClient> clientOf(const std::string& discovery, URLSession session = {}) const {
        const std::filesystem::path folder = path_ + "/Library/Application Support/Quellan/Varkel";
        std::filesystem::create_directories(folder);
        std::ofstream(folder / "overlay.sock") << discovery;
        return OverlayClient::init(session, path_);
    }

    std::optional<OverlayClient> clientOf(const ScriptedOverlay& overlay, URLSession session = {}) const {
        const boost::json::object discovery{{"port", overlay.port()}, {"token", secret}};
        return clientOf(boost::json::serialize(discovery), session);
    }

  private:
    std::string path_;
};

}  // namespace varkel::test
