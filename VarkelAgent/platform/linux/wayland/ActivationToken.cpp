#include "platform/linux/wayland/ActivationToken.h"

#include <xdg-activation-v1-client.h>

#include "platform/linux/wayland/WaylandConnection.h"

namespace varkel {

namespace {

void takeToken(void* text, xdg_activation_token_v1* /*token*/, const char* given) {
    *static_cast<std::optional<std::string>*>(text) = given;
}

}  // namespace

std::optional<std::string> requestActivationToken(std::chrono::steady_clock::time_point deadline) {
    WaylandConnection connection;
    if (!connection.connect(deadline)) return std::nullopt;
    const WaylandPtr<xdg_activation_v1, xdg_activation_v1_destroy> activation(
        connection.bind<xdg_activation_v1>(xdg_activation_v1_interface, 1));
    if (!activation) return std::nullopt;
    const WaylandPtr<xdg_activation_token_v1, xdg_activation_token_v1_destroy> token(
        xdg_activation_v1_get_activation_token(activation.get()));
    std::optional<std::string> text;
    static constexpr xdg_activation_token_v1_listener listener{takeToken};
    xdg_activation_token_v1_add_listener(token.get(), &listener, &text);
    xdg_activation_token_v1_commit(token.get());
    connection.dispatchUntil([&text] { return text.has_value(); }, deadline);
    return text;
}

std::vector<std::string> activationEnvironment(std::chrono::steady_clock::time_point deadline) {
    const auto token = requestActivationToken(deadline);
    if (!token) return {};
    return {"XDG_ACTIVATION_TOKEN=" + *token, "DESKTOP_STARTUP_ID=" + *token};
}

}  // namespace varkel
