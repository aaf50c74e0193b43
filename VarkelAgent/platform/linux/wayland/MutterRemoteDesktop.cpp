#include <utility>

#include "platform/linux/wayland/RemoteDesktop.h"

namespace varkel {

namespace {

constexpr const char* service = "org.gnome.Mutter.RemoteDesktop";
constexpr const char* servicePath = "/org/gnome/Mutter/RemoteDesktop";
constexpr const char* sessionInterface = "org.gnome.Mutter.RemoteDesktop.Session";
constexpr const char* screenCast = "org.gnome.Mutter.ScreenCast";
constexpr const char* screenCastPath = "/org/gnome/Mutter/ScreenCast";
constexpr const char* screenCastSession = "org.gnome.Mutter.ScreenCast.Session";
constexpr const char* displays = "org.gnome.Mutter.DisplayConfig";
constexpr const char* displaysPath = "/org/gnome/Mutter/DisplayConfig";

constexpr std::int32_t leftButton = 0x110;
/// Larger than any screen.
constexpr std::int32_t wholeScreen = 32767;

std::string objectPath(const SessionBus::Answer& answer) {
    const char* path = nullptr;
    return answer && sd_bus_message_read(answer.message.get(), "o", &path) > 0 ? path : "";
}

std::string text(const SdBusMessage& property) {
    const char* value = nullptr;
    return property && sd_bus_message_read(property.get(), "v", "s", &value) > 0 ? value : "";
}

/// The largest scale of the monitors where the screen counts in units instead of pixels, otherwise 1. `state`
/// is the answer to GetCurrentState.
double largestScale(sd_bus_message* state) {
    double largest = 1;
    if (sd_bus_message_skip(state, "ua((ssss)a(siiddada{sv})a{sv})") < 0) return 1;
    if (sd_bus_message_enter_container(state, 'a', "(iiduba(ssss)a{sv})") < 0) return 1;
    while (sd_bus_message_enter_container(state, 'r', "iiduba(ssss)a{sv}") > 0) {
        double scale = 1;
        if (sd_bus_message_read(state, "iid", nullptr, nullptr, &scale) < 0) return 1;
        if (scale > largest && scale < 100) largest = scale;
        if (sd_bus_message_skip(state, "uba(ssss)a{sv}") < 0 || sd_bus_message_exit_container(state) < 0)
            return 1;
    }
    if (sd_bus_message_exit_container(state) < 0 || sd_bus_message_enter_container(state, 'a', "{sv}") < 0)
        return 1;
    while (sd_bus_message_enter_container(state, 'e', "sv") > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read(state, "s", &name) < 0) return 1;
        std::uint32_t mode = 0;
        constexpr std::uint32_t logical = 1;
        if (std::string_view(name) == "layout-mode")
            return sd_bus_message_read(state, "v", "u", &mode) > 0 && mode == logical ? largest : 1;
        if (sd_bus_message_skip(state, "v") < 0 || sd_bus_message_exit_container(state) < 0) return 1;
    }
    return 1;
}

}  // namespace

bool MutterRemoteDesktop::isOffered(Deadline deadline) {
    return bus().connect(deadline) && bus().hasOwner(service, deadline);
}

bool MutterRemoteDesktop::isStarted(Deadline deadline) {
    return !session_.empty() &&
           bus().property(service, session_.c_str(), sessionInterface, "SessionId", deadline);
}

void MutterRemoteDesktop::start(Deadline deadline) {
    stream_.clear();
    session_ =
        objectPath(bus().call(bus().newCall({service, servicePath, service, "CreateSession"}), deadline));
    if (session_.empty()) throw EventError("The compositor lets no program play a keyboard and a pointer.");
    complete(newSessionCall("Start"), deadline);
}

SdBusMessage MutterRemoteDesktop::newSessionCall(const char* member) {
    return bus().newCall({service, session_.c_str(), sessionInterface, member});
}

SdBusMessage MutterRemoteDesktop::keyCall(const char* member, std::uint32_t number, bool down) {
    SdBusMessage message = newSessionCall(member);
    if (message) sd_bus_message_append(message.get(), "ub", number, down ? 1 : 0);
    return message;
}

SdBusMessage MutterRemoteDesktop::buttonCall(bool down) {
    SdBusMessage message = newSessionCall("NotifyPointerButton");
    if (message) sd_bus_message_append(message.get(), "ib", leftButton, down ? 1 : 0);
    return message;
}

SdBusMessage MutterRemoteDesktop::wheelCall(std::uint32_t axis, std::int32_t steps) {
    SdBusMessage message = newSessionCall("NotifyPointerAxisDiscrete");
    if (message) sd_bus_message_append(message.get(), "ui", axis, steps);
    return message;
}

SdBusMessage MutterRemoteDesktop::motionCall(CGPoint point, Deadline deadline) {
    if (stream_.empty() && !openStream(deadline))
        throw EventError("The compositor names no screen for the pointer to be moved on.");
    SdBusMessage message = newSessionCall("NotifyPointerMotionAbsolute");
    if (message)
        sd_bus_message_append(message.get(), "sdd", stream_.c_str(), point.x * scale_, point.y * scale_);
    return message;
}

/// A stream need not be played to tell which screen a point is of.
bool MutterRemoteDesktop::openStream(Deadline deadline) {
    const std::string id =
        text(bus().property(service, session_.c_str(), sessionInterface, "SessionId", deadline));
    SdBusMessage create = bus().newCall({screenCast, screenCastPath, screenCast, "CreateSession"});
    if (!create ||
        sd_bus_message_append(create.get(), "a{sv}", 1, "remote-desktop-session-id", "s", id.c_str()) < 0)
        return false;
    const std::string cast = objectPath(bus().call(std::move(create), deadline));
    SdBusMessage area =
        cast.empty() ? nullptr : bus().newCall({screenCast, cast.c_str(), screenCastSession, "RecordArea"});
    if (!area || sd_bus_message_append(area.get(), "iiiia{sv}", 0, 0, wholeScreen, wholeScreen, 0) < 0)
        return false;
    stream_ = objectPath(bus().call(std::move(area), deadline));
    const SessionBus::Answer state =
        bus().call(bus().newCall({displays, displaysPath, displays, "GetCurrentState"}), deadline);
    scale_ = state ? largestScale(state.message.get()) : 1;
    return !stream_.empty();
}

}  // namespace varkel
