#pragma once

#include <xkbcommon/xkbcommon.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "platform/linux/input/KeyboardMap.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// Binds keysyms that the keyboard does not have to key codes that it does not use, and takes them off again.
///
/// One key code carries up to four keysyms (by Shift and the third-level key), so that the user's own keys
/// are never touched and a few spare codes hold a whole text. What is remapped is recorded on the server, in
/// a property of the root window: when the process dies before it has restored the keyboard, the next one
/// that uses the display finds the records of an owner that is gone, empties those codes, and releases the
/// keys that the owner held. Called with a session of the one connection; one thread at a time.
class KeyRemapper {
  public:
    /// To be called once per connection, before anything else: recovers the keyboard from dead owners.
    void start(X11Connection::Session& session);

    /// To be called before keys are pressed: records this owner, and recovers the keyboard from owners that
    /// have died meanwhile.
    void begin(X11Connection::Session& session);

    /// Whether this owner is recorded, so that restore() has something to do.
    bool isInUse() const { return recorded_; }

    /// To be called whenever the map has been fetched anew: learns what a spare key can carry under it,
    /// and gives up those key codes that another client has changed.
    void adopt(X11Connection::Session& session, const KeyboardMap& map);

    /// How many keysyms can be bound at once on this keyboard.
    std::size_t capacity(const KeyboardMap& map) const;

    bool isBound(xkb_keysym_t keysym) const { return bound_.contains(keysym); }
    bool isEmpty() const { return slots_.empty(); }

    /// Binds these keysyms, at most capacity() of them. Those that are bound already stay where they are;
    /// others make room when it is needed, and stay otherwise. False when the server did not take it. The
    /// caller fetches the map anew.
    bool bind(X11Connection::Session& session, const KeyboardMap& map,
              const std::vector<xkb_keysym_t>& keysyms);

    /// Whether binding these would take a key code away from another keysym.
    bool wouldReplace(const KeyboardMap& map, const std::vector<xkb_keysym_t>& keysyms) const;

    /// Empties all key codes that bind() filled and no other client has changed since, and removes the
    /// records.
    void restore(X11Connection::Session& session);

    /// Forgets everything, after the server replaced its map or went away.
    void forget();

  private:
    static constexpr std::size_t maxLevels = 4;

    /// A key code in use and the keysym on each of its levels.
    using Slots = std::map<xcb_keycode_t, std::vector<xkb_keysym_t>>;

    struct Place {
        xcb_keycode_t key;
        std::size_t level;
    };

    void recover(X11Connection::Session& session);
    void dropChangedSlots(const KeyboardMap& map);
    std::vector<xcb_keycode_t> usableKeys(const KeyboardMap& map) const;
    std::vector<Place> freePlaces(const KeyboardMap& map) const;
    void makeRoom(const std::vector<xkb_keysym_t>& wanted, std::size_t needed);
    bool write(X11Connection::Session& session, const KeyboardMap& map,
               const std::vector<xcb_keycode_t>& keys);
    void writeRecords(X11Connection::Session& session);

    xcb_window_t owner_ = XCB_WINDOW_NONE;
    std::uint32_t mark_ = 0;
    /// How many levels of a spare key can be reached, and the number of the key type that has them.
    std::size_t levels_ = 1;
    std::uint8_t keyType_ = 0;
    bool recorded_ = false;
    Slots slots_;
    std::map<xkb_keysym_t, xcb_keycode_t> bound_;
};

}  // namespace varkel
