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
    layout_ = SeatKeymap::ask(deadline);
}

bool RemoteDesktop::hasKey(xkb_keysym_t keysym) {
    return layout_ && layout_->findInAll(keysym, reachableLevels);
}

void RemoteDesktop::press(xkb_keysym_t keysym, std::span<const xkb_keysym_t> modifiers, Deadline deadline) {
    const auto onKey = layout_ ? layout_->findInAll(keysym, reachableLevels) : std::nullopt;
    // Shortcuts go by the place of the key where the layout has other letters.
    const auto place = onKey ? std::nullopt : OwnKeymap().find(keysym);
    if (!onKey && !place) throw EventError("The keyboard layout has no key for this.");
    std::vector<xkb_keysym_t> held(modifiers.begin(), modifiers.end());
    if (place && place->shift) held.push_back(XKB_KEY_Shift_L);
    std::vector<SdBusMessage> calls;
    for (const xkb_keysym_t each : held) calls.push_back(keyCall(byKeysym, each, true));
    for (const bool down : {true, false})
        calls.push_back(onKey ? keyCall(byKeysym, *onKey, down) : keyCall(byNumber, place->key, down));
    std::ranges::reverse(held);
    for (const xkb_keysym_t each : held) calls.push_back(keyCall(byKeysym, each, false));
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
