#include "platform/linux/wayland/SessionBus.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include "base/Environment.h"

namespace varkel {

namespace {

std::string busAddress() {
    const Environment& variables = environment();
    if (const auto named = variables.find("DBUS_SESSION_BUS_ADDRESS");
        named != variables.end() && !named->second.empty())
        return named->second;
    const auto folder = variables.find("XDG_RUNTIME_DIR");
    return folder == variables.end() ? std::string() : "unix:path=" + folder->second + "/bus";
}

/// At least one: the library takes 0 for its own limit.
std::uint64_t microseconds(Deadline deadline) {
    return static_cast<std::uint64_t>(deadline.left().count()) * 1000 + 1;
}

int ignoreAnswer(sd_bus_message* /*answer*/, void* /*data*/, sd_bus_error* /*error*/) {
    return 1;
}

}  // namespace

bool SessionBus::connect(Deadline deadline) {
    if (bus_ != nullptr && sd_bus_is_open(bus_) > 0) return true;
    disconnect();
    const std::string address = busAddress();
    if (address.empty() || sd_bus_new(&bus_) < 0) return false;
    const bool begun = sd_bus_set_address(bus_, address.c_str()) >= 0 &&
                       sd_bus_set_bus_client(bus_, 1) >= 0 && sd_bus_negotiate_fds(bus_, 1) >= 0 &&
                       sd_bus_add_filter(bus_, nullptr, &onMessage, this) >= 0 && sd_bus_start(bus_) >= 0;
    if (begun &&
        call(newCall({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId"}),
             deadline))
        return true;
    disconnect();
    return false;
}

void SessionBus::disconnect() {
    if (bus_ == nullptr) return;
    sd_bus_close(bus_);
    sd_bus_unref(std::exchange(bus_, nullptr));
}

std::string SessionBus::uniqueName() const {
    const char* name = nullptr;
    return bus_ != nullptr && sd_bus_get_unique_name(bus_, &name) >= 0 ? name : "";
}

SdBusMessage SessionBus::newCall(const MethodCall& call) {
    sd_bus_message* message = nullptr;
    if (bus_ == nullptr || sd_bus_message_new_method_call(bus_, &message, call.destination, call.path,
                                                          call.interface, call.member) < 0)
        return nullptr;
    return SdBusMessage(message);
}

SessionBus::Answer SessionBus::call(SdBusMessage message, Deadline deadline) {
    if (bus_ == nullptr || !message || deadline.passed()) return {};
    sd_bus_error error{};
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call(bus_, message.get(), microseconds(deadline), &error, &reply);
    Answer answer{SdBusMessage(reply), error.message == nullptr ? "" : error.message};
    sd_bus_error_free(&error);
    if (result < 0) answer.message.reset();
    if (sd_bus_is_open(bus_) <= 0) disconnect();
    return answer;
}

void SessionBus::send(SdBusMessage message) {
    if (bus_ == nullptr || !message || sd_bus_message_set_expect_reply(message.get(), 0) < 0) return;
    sd_bus_send(bus_, message.get(), nullptr);
}

SdBusMessage SessionBus::property(const char* destination, const char* path, const char* interface,
                                  const char* name, Deadline deadline) {
    SdBusMessage question = newCall({destination, path, "org.freedesktop.DBus.Properties", "Get"});
    if (!question || sd_bus_message_append(question.get(), "ss", interface, name) < 0) return nullptr;
    return call(std::move(question), deadline).message;
}

bool SessionBus::hasOwner(const char* name, Deadline deadline) {
    SdBusMessage question =
        newCall({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner"});
    if (!question || sd_bus_message_append(question.get(), "s", name) < 0) return false;
    const Answer answer = call(std::move(question), deadline);
    int owned = 0;
    return answer && sd_bus_message_read(answer.message.get(), "b", &owned) > 0 && owned != 0;
}

void SessionBus::subscribe(const std::string& rule) {
    SdBusMessage question =
        newCall({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "AddMatch"});
    if (!question || sd_bus_message_append(question.get(), "s", rule.c_str()) < 0) return;
    sd_bus_call_async(bus_, nullptr, question.get(), &ignoreAnswer, nullptr, 0);
}

bool SessionBus::processUntil(const std::function<bool()>& done, Deadline deadline) {
    while (!done()) {
        if (bus_ == nullptr || deadline.passed()) return false;
        const int moved = sd_bus_process(bus_, nullptr);
        if (moved < 0) {
            disconnect();
            return false;
        }
        if (moved == 0) sd_bus_wait(bus_, microseconds(deadline));
    }
    return true;
}

int SessionBus::onMessage(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    const bool isCall = sd_bus_message_is_method_call(message, nullptr, nullptr) > 0;
    if (!isCall && sd_bus_message_is_signal(message, nullptr, nullptr) <= 0) return 1;
    if (const Handler& handler = static_cast<SessionBus*>(self)->handler_) handler(message);
    if (isCall) sd_bus_reply_method_return(message, "");
    return 1;
}

}  // namespace varkel
