#include "platform/linux/wayland/Portal.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace varkel {

namespace {

constexpr const char* requestInterface = "org.freedesktop.portal.Request";

/// The part of a request's path that its sender has by its name on the bus.
std::string senderInPaths(std::string name) {
    if (name.starts_with(':')) name.erase(0, 1);
    std::ranges::replace(name, '.', '_');
    return name;
}

}  // namespace

Portal::Portal(SessionBus& bus) : bus_(bus) {
    bus_.setHandler([this](sd_bus_message* message) { take(message); });
    bus_.subscribe("type='signal',sender='" + std::string(service) + "',interface='" + requestInterface +
                   "',member='Response'");
    bus_.subscribe("type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
                   std::string(service) + "'");
}

std::uint32_t Portal::versionOf(SessionBus& bus, const char* interface, Deadline deadline) {
    const SdBusMessage answer = bus.property(service, path, interface, "version", deadline);
    std::uint32_t version = 0;
    return answer && sd_bus_message_read(answer.get(), "v", "u", &version) > 0 ? version : 0;
}

SdBusMessage Portal::newCall(const char* interface, const char* member) {
    token_ = "varkel" + std::to_string(getpid()) + "_" + std::to_string(++tokens_);
    return bus_.newCall({service, path, interface, member});
}

const std::string& Portal::token() {
    return token_;
}

Portal::Outcome Portal::ask(SdBusMessage message, const std::function<void(sd_bus_message*)>& read,
                            Deadline deadline) {
    request_ = std::string(path) + "/request/" + senderInPaths(bus_.uniqueName()) + "/" + token_;
    read_ = read;
    answered_ = false;
    outcome_ = Outcome::failed;
    if (const SessionBus::Answer answer = bus_.call(std::move(message), deadline)) {
        const char* sender = sd_bus_message_get_sender(answer.message.get());
        owner_ = sender == nullptr ? "" : sender;
        bus_.processUntil([this] { return answered_; }, deadline);
    }
    read_ = nullptr;
    return outcome_;
}

void Portal::take(sd_bus_message* message) {
    if (sd_bus_message_is_signal(message, "org.freedesktop.DBus", "NameOwnerChanged") > 0) {
        // What has come and gone before this request may be told only now.
        const char *name = nullptr, *owner = nullptr;
        if (sd_bus_message_read(message, "ss", &name, &owner) > 0 && owner_ == owner) answered_ = true;
        return;
    }
    const char* at = sd_bus_message_get_path(message);
    std::uint32_t response = 0;
    if (sd_bus_message_is_signal(message, requestInterface, "Response") <= 0 || at == nullptr ||
        request_ != at || sd_bus_message_read(message, "u", &response) < 0)
        return;
    answered_ = true;
    constexpr std::uint32_t byPerson = 1;
    outcome_ = response == 0 ? Outcome::done : response == byPerson ? Outcome::refused : Outcome::failed;
    if (response == 0 && read_) read_(message);
}

}  // namespace varkel
