#include "platform/linux/wayland/KeyHold.h"

#include <foreign-toplevel-v1-client.h>

namespace varkel {

void KeyHold::open(wl_seat* seat, Clock::time_point deadline) {
    seat_ = seat;
    toplevels_.open(connection_, deadline);
}

void KeyHold::clear() {
    receiver_.reset();
    toplevels_.clear();
    seat_ = nullptr;
}

std::optional<bool> KeyHold::holdTo(const KeyFocus& focus, KeyFocusTeller& teller,
                                    Clock::time_point deadline) {
    if (!toplevels_.isOpen()) return true;
    const bool isMeant = focus.activation == Activation::done;
    connection_.takeEvents();
    const auto hasKeyboard = [this] { return toplevels_.activatedId() == receiver_->toplevel; };
    if (receiver_ && receiver_->window == focus.window && (receiver_->toplevel != 0 || !isMeant)) {
        if (hasKeyboard()) return true;
        // What is known may be as old as the last key.
        if (!connection_.synchronise(deadline)) return std::nullopt;
        return hasKeyboard();
    }
    if (!connection_.synchronise(deadline)) return std::nullopt;
    const WindowId activated = toplevels_.activatedId();
    const std::uint64_t before = toplevels_.changes();
    const auto again = teller.keyFocus(deadline);
    if (!again || !connection_.synchronise(deadline)) return std::nullopt;
    // Both have told of the same window only if nothing has changed meanwhile.
    if (again->window != focus.window || toplevels_.changes() != before) return false;
    receiver_ = Receiver{focus.window, activated};
    return activated != 0 || !isMeant;
}

/// The compositor carries out what it reads at once from one program without a look at others: a window that
/// is activated in the same message gets the key, also when another one has come to the front since it was
/// looked.
void KeyHold::beforeKey() {
    changes_.reset();
    const ForeignToplevels::Toplevel* receiver = receiver_ ? toplevels_.find(receiver_->toplevel) : nullptr;
    if (receiver == nullptr) return;
    changes_ = toplevels_.changes();
    zwlr_foreign_toplevel_handle_v1_activate(receiver->handle, seat_);
}

/// Where another window had come to the front, and the key has taken it from there, that one gets it back.
bool KeyHold::afterKey(Clock::time_point deadline) {
    if (!changes_ || *changes_ == toplevels_.changes()) return true;
    const WindowId last = toplevels_.lastDeactivated();
    const ForeignToplevels::Toplevel* other = toplevels_.find(last);
    const WindowId taker = receiver_->toplevel;
    if (other == nullptr || last == taker || toplevels_.activatedId() != taker) return true;
    zwlr_foreign_toplevel_handle_v1_activate(other->handle, seat_);
    return connection_.synchronise(deadline);
}

}  // namespace varkel
