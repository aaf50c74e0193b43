#include "routes/Consent.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <utility>

#include "base/ConstantTime.h"
#include "http/JSONResponse.h"

namespace varkel {

namespace {

/// Whether the caller has asked the person itself. It proves with the service's secret that it may.
bool isGranted(const HTTPRequest& request, const OverlayClient& overlay) {
    const std::string* consent = request.header("x-varkel-mcp-consent");
    if (consent == nullptr || *consent != "granted") return false;
    const std::string* token = request.header("x-varkel-overlay-token");
    if (token == nullptr) token = request.header("x-overlay-token");
    return token != nullptr && equalsInConstantTime(*token, overlay.token());
}

/// A random UUID in upper case.
std::string freshId() {
    std::string id = to_string(boost::uuids::random_generator_pure()());
    for (char& c : id) {
        if (c >= 'a' && c <= 'f') c = static_cast<char>(c - 'a' + 'A');
    }
    return id;
}

}  // namespace

Task<std::optional<HTTPResponse>> checkDestructiveConsent(const HTTPRequest& request,
                                                          const std::optional<OverlayClient>& overlay,
                                                          std::string_view action,
                                                          std::optional<std::string> target,
                                                          DetailsOfAction details) {
    if (!overlay || isGranted(request, *overlay)) co_return std::nullopt;
    const std::string id = freshId();
    if (details && overlay->wantsDetails()) {
        boost::json::object event = co_await details();
        event["id"] = id;
        event["action"] = action;
        co_await overlay->emitEvent("actionDetails", std::move(event));
    }
    boost::json::object prompt{{"id", id}, {"action", action}};
    if (target) prompt["target"] = *target;
    co_await overlay->emitEvent("destructivePrompt", std::move(prompt));
    if (co_await overlay->checkConsent(id)) co_return std::nullopt;
    co_return jsonResponse(403, {{"error", "consent_denied"}});
}

}  // namespace varkel
