#include "platform/linux/applescript/NotificationService.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/linux/applescript/ScriptError.h"
#include "platform/linux/atspi/SdBus.h"

namespace varkel::applescript {

namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";
constexpr const char* servicePath = "/org/freedesktop/Notifications";
constexpr std::uint64_t answerTimeoutMicroseconds = 5'000'000;

struct BusClose {
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusClose>;

Bus openBus() {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) return nullptr;
    sd_bus_set_method_call_timeout(bus, answerTimeoutMicroseconds);
    return Bus(bus);
}

/// Whether the service takes the text for markup, in which some characters mean something.
bool readsMarkup(sd_bus* bus) {
    sd_bus_message* received = nullptr;
    if (sd_bus_call_method(bus, serviceName, servicePath, serviceName, "GetCapabilities", nullptr, &received,
                           "") < 0)
        return false;
    const SdBusMessage reply(received);
    if (sd_bus_message_enter_container(reply.get(), 'a', "s") < 0) return false;
    const char* capability = nullptr;
    while (sd_bus_message_read(reply.get(), "s", &capability) > 0) {
        if (std::string_view(capability) == "body-markup") return true;
    }
    return false;
}

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else {
            out += c;
        }
    }
    return out;
}

/// A title is required; a notification without one has its text there.
bool send(sd_bus* bus, const Notification& notification) {
    const bool hasTitle = !notification.title.empty();
    const std::string summary = hasTitle ? notification.title : notification.text;
    std::string body = notification.subtitle;
    if (hasTitle && !body.empty()) body += "\n";
    if (hasTitle) body += notification.text;
    if (readsMarkup(bus)) body = escaped(body);
    const bool hasSound = !notification.sound.empty();
    constexpr std::uint32_t replacesNone = 0;
    constexpr std::int32_t serviceDecides = -1;
    const int sent = hasSound
                         ? sd_bus_call_method(bus, serviceName, servicePath, serviceName, "Notify", nullptr,
                                              nullptr, "susssasa{sv}i", "varkel-agent", replacesNone, "",
                                              summary.c_str(), body.c_str(), 0, 1, "sound-name", "s",
                                              notification.sound.c_str(), serviceDecides)
                         : sd_bus_call_method(bus, serviceName, servicePath, serviceName, "Notify", nullptr,
                                              nullptr, "susssasa{sv}i", "varkel-agent", replacesNone, "",
                                              summary.c_str(), body.c_str(), 0, 0, serviceDecides);
    return sent >= 0;
}

}  // namespace

void showNotification(const Notification& notification) {
    const Bus bus = openBus();
    if (bus && send(bus.get(), notification)) return;
    throw ExecutionError("There is no notification service that shows this.", ExecutionError::noSuchObject);
}

}  // namespace varkel::applescript
