#include "platform/linux/wayland/RemoteDesktop.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/linux/wayland/OwnKeymap.h"

namespace varkel {

namespace {

/// The levels of a key for which the desktop itself presses Shift or AltGr.
constexpr xkb_level_index_t reachableLevels = 3;

/// More steps than a person turns a wheel at once.
constexpr std::int32_t maxWheelSteps = 1000;
enum Axis : std::uint32_t { verticalAxis = 0, horizontalAxis = 1 };

/// What a key is named by: its keysym, or its number in the kernel.
constexpr const char* byKeysym = "NotifyKeyboardKeysym";
constexpr const char* byNumber = "NotifyKeyboardKeycode";

}  // namespace

bool RemoteDesktop::open(Deadline deadline) {
    if (bus_.isConnected() && isStarted(deadline)) return false;
    if (!bus_.connect(deadline)) throw EventError("The session's message bus does not answer.");
    start(deadline);
    introduce(deadline);
    return true;
}

/// Desktops make a device with its first event. Shift alone, and a motion by nothing, do nothing else.
void RemoteDesktop::introduce(Deadline deadline) {
    bus_.send(keyCall(byKeysym, XKB_KEY_Shift_L, true));
    complete(keyCall(byKeysym, XKB_KEY_Shift_L, false), deadline);
}

void RemoteDesktop::readLayout(Deadline deadline) {
    layouts_ = seat_.current(deadline);
}

bool RemoteDesktop::hasKey(xkb_keysym_t keysym) {
    if (isOneLayout()) return layouts_->stroke(keysym, 0).has_value();
    return layouts_ != nullptr && layouts_->findInAll(keysym, reachableLevels);
}

/// The keys go down and up in this order: each before and after those that follow it.
std::vector<SdBusMessage> RemoteDesktop::callsFor(std::span<const KeyName> keys) {
    std::vector<SdBusMessage> calls;
    for (const KeyName& each : keys) calls.push_back(keyCall(each.member, each.number, true));
    for (std::size_t at = keys.size(); at > 0; --at)
        calls.push_back(keyCall(keys[at - 1].member, keys[at - 1].number, false));
    return calls;
}

/// Where there are several layouts nothing tells which is active, and the desktop looks the keysym up in
/// that.
void RemoteDesktop::press(xkb_keysym_t keysym, std::span<const xkb_keysym_t> modifiers, Deadline deadline) {
    std::vector<KeyName> keys;
    for (const xkb_keysym_t each : modifiers) keys.push_back({byKeysym, each});
    const auto stroke = isOneLayout() ? layouts_->stroke(keysym, 0) : std::nullopt;
    const auto inAll =
        layouts_ == nullptr || stroke ? std::nullopt : layouts_->findInAll(keysym, reachableLevels);
    if (stroke) {
        for (const std::uint32_t each : stroke->modifierKeys) keys.push_back({byNumber, each});
        keys.push_back({byNumber, stroke->key});
    } else if (inAll) {
        keys.push_back({byKeysym, *inAll});
    } else {
        // Shortcuts go by the place of the key where the layout has other letters.
        const auto place = OwnKeymap().find(keysym);
        if (!place) throw EventError("The keyboard layout has no key for this.");
        if (place->shift) keys.push_back({byKeysym, XKB_KEY_Shift_L});
        keys.push_back({byNumber, place->key});
    }
    std::vector<SdBusMessage> calls = callsFor(keys);
    SdBusMessage last = std::move(calls.back());
    calls.pop_back();
    for (SdBusMessage& each : calls) bus_.send(std::move(each));
    complete(std::move(last), deadline);
}

void RemoteDesktop::moveTo(CGPoint point, Deadline deadline) {
    const CGPoint sane{std::isfinite(point.x) ? std::floor(point.x) : 0,
                       std::isfinite(point.y) ? std::floor(point.y) : 0};
    complete(motionCall(sane, deadline), deadline);
}

void RemoteDesktop::button(bool down, Deadline deadline) {
    complete(buttonCall(down), deadline);
}

void RemoteDesktop::turnWheel(std::int32_t vertical, std::int32_t horizontal, Deadline deadline) {
    const auto bounded = [](std::int32_t steps) { return std::clamp(steps, -maxWheelSteps, maxWheelSteps); };
    if (vertical != 0) complete(wheelCall(verticalAxis, bounded(vertical)), deadline);
    if (horizontal != 0) complete(wheelCall(horizontalAxis, bounded(horizontal)), deadline);
}

void RemoteDesktop::complete(SdBusMessage message, Deadline deadline) {
    const SessionBus::Answer answer = bus_.call(std::move(message), deadline);
    if (answer) return;
    // What is down goes up with the connection that pressed it.
    bus_.disconnect();
    throw EventError(answer.error.empty() ? "The desktop does not answer, or has gone."
                                          : "The desktop refused the event: " + answer.error);
}

}  // namespace varkel
