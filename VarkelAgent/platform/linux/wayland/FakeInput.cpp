#include "platform/linux/wayland/FakeInput.h"

#include <fake-input-client.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <thread>

#include "platform/linux/wayland/OwnKeymap.h"

namespace varkel {

namespace {

/// The version that has keys.
constexpr std::uint32_t neededVersion = 4;

constexpr std::uint32_t leftButton = 0x110;
enum Axis : std::uint32_t { verticalAxis = 0, horizontalAxis = 1 };
/// What toolkits take for one step of a wheel.
constexpr int wheelStep = 10;
constexpr std::int32_t maxWheelSteps = 1000;

/// How long applications get to notice a keyboard on a desktop that had none.
constexpr std::chrono::milliseconds noticingTime{300};

WaylandConnection::Clock::time_point when(Deadline deadline) {
    return WaylandConnection::Clock::now() + deadline.left();
}

double sane(double coordinate) {
    // Fixed-point numbers of the protocol have 24 bits before the point.
    constexpr double farthest = 1 << 20;
    return std::isfinite(coordinate) ? std::clamp(std::floor(coordinate), -farthest, farthest) : 0;
}

}  // namespace

bool FakeInput::isOffered(Deadline deadline) {
    if (connection_.isConnected() && !connection_.synchronise(when(deadline))) disconnect();
    return connection_.connect(when(deadline)) && connection_.offers(org_kde_kwin_fake_input_interface.name);
}

bool FakeInput::open(Deadline deadline) {
    if (!isOffered(deadline)) throw NotLent("Plasma does not let this program press keys.");
    if (devices_ != nullptr) return false;
    const bool hadKeyboard = seat_.current(deadline) != nullptr;
    devices_ = connection_.bind<org_kde_kwin_fake_input>(org_kde_kwin_fake_input_interface, neededVersion);
    if (devices_ == nullptr || org_kde_kwin_fake_input_get_version(devices_) < neededVersion) {
        disconnect();
        throw NotLent("This version of Plasma lets no program press keys.");
    }
    org_kde_kwin_fake_input_authenticate(devices_, "varkel-agent", "types and clicks for the person");
    complete(deadline);
    if (!hadKeyboard) std::this_thread::sleep_for(noticingTime);
    return true;
}

void FakeInput::disconnect() {
    if (devices_ != nullptr) org_kde_kwin_fake_input_destroy(std::exchange(devices_, nullptr));
    connection_.disconnect();
}

/// Waits until the compositor has done all that was asked for.
void FakeInput::complete(Deadline deadline) {
    if (devices_ != nullptr && connection_.synchronise(when(deadline))) return;
    disconnect();
    throw EventError("The compositor does not answer, or has gone.");
}

void FakeInput::readLayout(Deadline deadline) {
    layouts_ = seat_.current(deadline);
    layout_ = layouts_ != nullptr && layouts_->layouts() > 1 ? activeLayout(deadline) : 0;
}

/// The one that the person has switched to.
xkb_layout_index_t FakeInput::activeLayout(Deadline deadline) {
    if (!bus_.connect(deadline)) return 0;
    const auto answer = bus_.call(
        bus_.newCall({"org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts", "getLayout"}), deadline);
    std::uint32_t layout = 0;
    return answer && sd_bus_message_read(answer.message.get(), "u", &layout) > 0 ? layout : 0;
}

std::optional<SeatKeymap::Stroke> FakeInput::find(xkb_keysym_t keysym) const {
    return layouts_ == nullptr ? std::nullopt : layouts_->stroke(keysym, layout_);
}

void FakeInput::press(xkb_keysym_t keysym, std::span<const xkb_keysym_t> modifiers, Deadline deadline) {
    if (devices_ == nullptr) complete(deadline);
    // Shortcuts go by the place of the key where the layout has other letters, and modifiers have theirs.
    const auto onPlace = [](xkb_keysym_t each) -> std::optional<SeatKeymap::Stroke> {
        const auto place = OwnKeymap().find(each);
        constexpr std::uint32_t shiftKey = 42;
        if (!place) return std::nullopt;
        return SeatKeymap::Stroke{place->key,
                                  place->shift ? std::vector{shiftKey} : std::vector<std::uint32_t>()};
    };
    const auto onKey = find(keysym);
    const auto stroke = onKey ? onKey : onPlace(keysym);
    if (!stroke) throw EventError("The keyboard layout has no key for this.");
    std::vector<std::uint32_t> held = stroke->modifierKeys;
    for (const xkb_keysym_t each : modifiers) {
        if (const auto modifier = onPlace(each)) held.push_back(modifier->key);
    }
    for (const std::uint32_t each : held) org_kde_kwin_fake_input_keyboard_key(devices_, each, 1);
    for (const std::uint32_t state : {1U, 0U})
        org_kde_kwin_fake_input_keyboard_key(devices_, stroke->key, state);
    std::ranges::reverse(held);
    for (const std::uint32_t each : held) org_kde_kwin_fake_input_keyboard_key(devices_, each, 0);
    complete(deadline);
}

void FakeInput::moveTo(CGPoint point, Deadline deadline) {
    if (devices_ != nullptr)
        org_kde_kwin_fake_input_pointer_motion_absolute(devices_, wl_fixed_from_double(sane(point.x)),
                                                        wl_fixed_from_double(sane(point.y)));
    complete(deadline);
}

void FakeInput::button(bool down, Deadline deadline) {
    if (devices_ != nullptr) org_kde_kwin_fake_input_button(devices_, leftButton, down ? 1 : 0);
    complete(deadline);
}

void FakeInput::turnWheel(std::int32_t vertical, std::int32_t horizontal, Deadline deadline) {
    const auto turn = [&](Axis axis, std::int32_t steps) {
        const std::int32_t count = std::abs(std::clamp(steps, -maxWheelSteps, maxWheelSteps));
        for (std::int32_t step = 0; step < count; ++step) {
            if (devices_ != nullptr)
                org_kde_kwin_fake_input_axis(devices_, axis,
                                             wl_fixed_from_int(steps > 0 ? wheelStep : -wheelStep));
            complete(deadline);
        }
    };
    turn(verticalAxis, vertical);
    turn(horizontalAxis, horizontal);
}

}  // namespace varkel
