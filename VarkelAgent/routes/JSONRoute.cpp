#include "routes/JSONRoute.h"

namespace varkel {

namespace {

struct Guarded {
    std::optional<OverlayClient> overlay;
    std::string_view action;
    std::optional<std::string> target;
    DetailsOfRequest details;
    RouteHandler route;
};

Task<HTTPResponse> askAndCall(std::shared_ptr<const Guarded> guarded, HTTPRequest request) {
    DetailsOfAction details = [&] { return guarded->details(request); };
    auto refusal = co_await checkDestructiveConsent(request, guarded->overlay, guarded->action,
                                                    guarded->target, std::move(details));
    if (refusal) co_return *std::move(refusal);
    co_return co_await guarded->route(std::move(request));
}

}  // namespace

HTTPResponse detail::badBodyResponse(BadBody badBody, const DecodingError& error) {
    switch (badBody) {
        case BadBody::reason:
            return badRequestResponse(error.what());
        case BadBody::invalidJSON:
            return badRequestResponse("Invalid JSON body");
        case BadBody::nothing:
        case BadBody::accepted:
            break;
    }
    return badRequestResponse();
}

RouteHandler askingFirst(std::optional<OverlayClient> overlay, std::string_view action,
                         std::optional<std::string> target, DetailsOfRequest details, RouteHandler route) {
    const auto guarded = std::make_shared<const Guarded>(
        Guarded{std::move(overlay), action, std::move(target), std::move(details), std::move(route)});
    return [guarded](HTTPRequest request) { return askAndCall(guarded, std::move(request)); };
}

}  // namespace varkel
