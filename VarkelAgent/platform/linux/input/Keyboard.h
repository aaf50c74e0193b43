#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <set>
#include <vector>

#include "platform/linux/input/KeyRemapper.h"
#include "platform/linux/input/KeyboardMap.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// The keysyms of a text that is about to be typed, and how far the typing has come.
struct PlannedText {
    std::vector<xkb_keysym_t> keysyms;
    std::size_t next = 0;
};

/// Presses keys on the X server's keyboard by what they mean, under whatever layout is active. Called with a
/// session of one connection; one thread at a time.
class Keyboard {
  public:
    /// To be called when events of the connection were read elsewhere: what they could tell of the keyboard
    /// is found out anew.
    void forgetMap() { stale_ = true; }

    /// Binds what the layout does not have of the text, as far as it fits.
    void prepare(X11Connection::Session& session, PlannedText& text);

    /// Presses the key that gives this keysym, with `extraModifiers` (keysyms of modifier keys) held besides
    /// the modifiers that the keysym needs. All modifiers are let go before this returns: an event carries
    /// the modifiers of its moment, and another request's key must not get them. `texts` are those being
    /// typed now. The key code that is down afterwards, or nothing when no key could be found.
    std::optional<xcb_keycode_t> press(X11Connection::Session& session, xkb_keysym_t keysym,
                                       const std::vector<xkb_keysym_t>& extraModifiers,
                                       std::list<PlannedText>& texts);

    void release(X11Connection::Session& session, xcb_keycode_t key);

    /// Whether anything was done to the keyboard that restore() has to undo.
    bool inUse() const { return remapper_.isInUse(); }

    /// Restores the remapped key codes once the application has read what was typed with them; with
    /// Reading::ignored, in any case. Whether it was done.
    enum class Reading { required, ignored };
    bool restore(X11Connection::Session& session, Reading reading);

  private:
    struct State {
        xkb_layout_index_t group = 0;
        xkb_mod_mask_t held = 0;
        xkb_mod_mask_t latched = 0;
        xkb_mod_mask_t locked = 0;
    };

    bool refresh(X11Connection::Session& session);
    bool startOver(X11Connection::Session& session);
    void turnAutorepeatOff(X11Connection::Session& session, xcb_keycode_t key);
    void drainEvents(X11Connection::Session& session);
    std::optional<State> readState(X11Connection::Session& session);
    State readStateWhenModifiersAreFree(X11Connection::Session& session);
    const KeyStroke* find(xkb_keysym_t keysym, const State& state);
    bool bindFrom(X11Connection::Session& session, xkb_keysym_t first, const State& state, PlannedText* text);
    PlannedText* advanceTo(xkb_keysym_t keysym, std::list<PlannedText>& texts);
    xkb_mod_mask_t kept(const State& state) const { return state.locked & map_->numLockMask(); }

    std::uint64_t generation_ = 0;
    std::uint8_t firstEvent_ = 0;
    bool stale_ = true;
    std::optional<KeyboardMap> map_;
    KeyRemapper remapper_;
    std::set<xcb_keycode_t> down_;
    /// The keys that are down and whose autorepeat was on before they were pressed.
    std::set<xcb_keycode_t> autorepeatOff_;
};

}  // namespace varkel
