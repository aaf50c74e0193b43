#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/AtomicFile.h"
#include "base/Environment.h"
#include "base/ReadFile.h"
#include "platform/linux/wayland/RemoteDesktop.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

constexpr const char* interface = "org.freedesktop.portal.RemoteDesktop";
constexpr const char* screenCast = "org.freedesktop.portal.ScreenCast";
constexpr const char* sessionInterface = "org.freedesktop.portal.Session";

/// A person has to agree.
constexpr milliseconds personLimit{60'000};
/// One who did not is not asked again at once.
constexpr milliseconds refusalHolds{60'000};

constexpr std::uint32_t keyboardAndPointer = 3;
constexpr std::uint32_t monitors = 1;
constexpr std::uint32_t untilRevoked = 2;
constexpr std::size_t longestToken = 4096;
constexpr std::size_t maxStreams = 64;

constexpr std::int32_t leftButton = 0x110;

/// Where the word is kept by which the portal knows what the person allowed.
std::string tokenPath() {
    const auto folder = environment().find("XDG_STATE_HOME");
    const std::string state = folder != environment().end() && !folder->second.empty()
                                  ? folder->second
                                  : homeDirectory(environment()) + "/.local/state";
    return state + "/varkel-agent/remote-desktop";
}

void keepToken(const std::string& token) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(tokenPath()).parent_path(), ignored);
    try {
        writeFileAtomically(tokenPath(), token, 0600);
    } catch (const std::system_error&) {
        // The person is asked again next time.
    }
}

/// Calls `take` with the name of each member of an a{sv}, which reads the value and tells whether it did.
template <class Take>
void readDictionary(sd_bus_message* message, Take take) {
    if (sd_bus_message_enter_container(message, 'a', "{sv}") < 0) return;
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* name = nullptr;
        if (sd_bus_message_read(message, "s", &name) < 0) return;
        if (!take(std::string_view(name)) && sd_bus_message_skip(message, "v") < 0) return;
        if (sd_bus_message_exit_container(message) < 0) return;
    }
    sd_bus_message_exit_container(message);
}

}  // namespace

bool PortalRemoteDesktop::isOffered(Deadline deadline) {
    if (!bus().connect(deadline)) return false;
    version_ = Portal::versionOf(bus(), interface, deadline);
    return version_ > 0;
}

bool PortalRemoteDesktop::isStarted(Deadline deadline) {
    return !session_.empty() &&
           bus().property(Portal::service, session_.c_str(), sessionInterface, "version", deadline);
}

void PortalRemoteDesktop::start(Deadline deadline) {
    if (!refusedUntil_.passed()) throw refusal();
    session_.clear();
    streams_.clear();
    Portal portal(bus());
    createSession(portal, deadline);
    selectDevices(portal, deadline);
    selectScreens(portal, deadline);
    SdBusMessage call = portal.newCall(interface, "Start");
    if (call)
        sd_bus_message_append(call.get(), "osa{sv}", session_.c_str(), "", 1, "handle_token", "s",
                              portal.token().c_str());
    const auto outcome = portal.ask(
        std::move(call), [this](sd_bus_message* results) { takeResults(results); },
        Deadline::in(personLimit));
    if (outcome == Portal::Outcome::done) return;
    session_.clear();
    if (outcome == Portal::Outcome::failed) throw NotLent("The desktop's portal did not lend its keyboard.");
    refusedUntil_ = Deadline::in(refusalHolds);
    throw refusal();
}

EventError PortalRemoteDesktop::refusal() {
    return EventError("The person did not let this program press keys and move the pointer.");
}

void PortalRemoteDesktop::createSession(Portal& portal, Deadline deadline) {
    SdBusMessage call = portal.newCall(interface, "CreateSession");
    if (call)
        sd_bus_message_append(call.get(), "a{sv}", 2, "handle_token", "s", portal.token().c_str(),
                              "session_handle_token", "s", portal.token().c_str());
    const auto read = [this](sd_bus_message* results) {
        readDictionary(results, [&](std::string_view name) {
            const char* handle = nullptr;
            if (name != "session_handle" || sd_bus_message_read(results, "v", "s", &handle) <= 0)
                return false;
            session_ = handle;
            return true;
        });
    };
    const auto outcome = portal.ask(std::move(call), read, deadline);
    if (outcome != Portal::Outcome::done || session_.empty())
        throw NotLent("The desktop's portal lends no keyboard.");
}

void PortalRemoteDesktop::selectDevices(Portal& portal, Deadline deadline) {
    SdBusMessage call = portal.newCall(interface, "SelectDevices");
    const auto known = remembers() ? readRegularFile(tokenPath(), longestToken) : std::nullopt;
    if (call && !remembers()) {
        sd_bus_message_append(call.get(), "oa{sv}", session_.c_str(), 2, "handle_token", "s",
                              portal.token().c_str(), "types", "u", keyboardAndPointer);
    } else if (call && !known) {
        sd_bus_message_append(call.get(), "oa{sv}", session_.c_str(), 3, "handle_token", "s",
                              portal.token().c_str(), "types", "u", keyboardAndPointer, "persist_mode", "u",
                              untilRevoked);
    } else if (call) {
        sd_bus_message_append(call.get(), "oa{sv}", session_.c_str(), 4, "handle_token", "s",
                              portal.token().c_str(), "types", "u", keyboardAndPointer, "persist_mode", "u",
                              untilRevoked, "restore_token", "s", known->c_str());
    }
    if (portal.ask(std::move(call), nullptr, deadline) != Portal::Outcome::done)
        throw NotLent("The desktop's portal lends no keyboard.");
}

/// Points are told by the screens that the person shares. Without, there are keys.
void PortalRemoteDesktop::selectScreens(Portal& portal, Deadline deadline) {
    SdBusMessage call = portal.newCall(screenCast, "SelectSources");
    if (call)
        sd_bus_message_append(call.get(), "oa{sv}", session_.c_str(), 3, "handle_token", "s",
                              portal.token().c_str(), "types", "u", monitors, "multiple", "b", 1);
    portal.ask(std::move(call), nullptr, deadline);
}

void PortalRemoteDesktop::takeResults(sd_bus_message* results) {
    readDictionary(results, [&](std::string_view name) {
        const char* token = nullptr;
        if (name == "restore_token" && sd_bus_message_read(results, "v", "s", &token) > 0) {
            if (std::string_view(token).size() <= longestToken) keepToken(token);
            return true;
        }
        return name == "streams" && takeStreams(results);
    });
}

bool PortalRemoteDesktop::takeStreams(sd_bus_message* results) {
    if (sd_bus_message_enter_container(results, 'v', "a(ua{sv})") < 0 ||
        sd_bus_message_enter_container(results, 'a', "(ua{sv})") < 0)
        return false;
    while (sd_bus_message_enter_container(results, 'r', "ua{sv}") > 0) {
        Stream stream;
        if (sd_bus_message_read(results, "u", &stream.node) < 0) break;
        readDictionary(results, [&](std::string_view name) {
            if (name == "position")
                return sd_bus_message_read(results, "v", "(ii)", &stream.x, &stream.y) > 0;
            return name == "size" &&
                   sd_bus_message_read(results, "v", "(ii)", &stream.width, &stream.height) > 0;
        });
        if (streams_.size() < maxStreams) streams_.push_back(stream);
        if (sd_bus_message_exit_container(results) < 0) break;
    }
    // The list, and the variant around it.
    if (sd_bus_message_exit_container(results) < 0) return false;
    return sd_bus_message_exit_container(results) >= 0;
}

/// With the two arguments that all of them begin with.
SdBusMessage PortalRemoteDesktop::newSessionCall(const char* member) {
    SdBusMessage message = bus().newCall({Portal::service, Portal::path, interface, member});
    if (message) sd_bus_message_append(message.get(), "oa{sv}", session_.c_str(), 0);
    return message;
}

SdBusMessage PortalRemoteDesktop::keyCall(const char* member, std::uint32_t number, bool down) {
    SdBusMessage message = newSessionCall(member);
    if (message)
        sd_bus_message_append(message.get(), "iu", static_cast<std::int32_t>(number), down ? 1U : 0U);
    return message;
}

SdBusMessage PortalRemoteDesktop::buttonCall(bool down) {
    SdBusMessage message = newSessionCall("NotifyPointerButton");
    if (message) sd_bus_message_append(message.get(), "iu", leftButton, down ? 1U : 0U);
    return message;
}

SdBusMessage PortalRemoteDesktop::wheelCall(std::uint32_t axis, std::int32_t steps) {
    SdBusMessage message = newSessionCall("NotifyPointerAxisDiscrete");
    if (message) sd_bus_message_append(message.get(), "ui", axis, steps);
    return message;
}

SdBusMessage PortalRemoteDesktop::motionCall(CGPoint point, Deadline /*deadline*/) {
    const auto found = std::ranges::find_if(streams_, [point](const Stream& each) {
        return point.x >= each.x && point.y >= each.y && point.x < each.x + each.width &&
               point.y < each.y + each.height;
    });
    if (found == streams_.end())
        throw EventError("The person shares no screen with this program that has the point to click on.");
    SdBusMessage message = newSessionCall("NotifyPointerMotionAbsolute");
    if (message)
        sd_bus_message_append(message.get(), "udd", found->node, point.x - found->x, point.y - found->y);
    return message;
}

std::string describePortal() {
    PortalRemoteDesktop portal;
    if (!portal.isOffered(Deadline::in(milliseconds(1000)))) return {};
    if (portal.remembers())
        return "hint_keys=The desktop asks once whether this program may press keys and move the pointer: "
               "allow it "
               "in its dialog";
    return "hint_keys=The desktop asks after each start of this program, with its first key, whether it may "
           "press "
           "keys and move the pointer: allow it in its dialog";
}

}  // namespace varkel
