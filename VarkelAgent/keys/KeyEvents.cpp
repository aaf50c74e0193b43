#include "keys/KeyEvents.h"

#include "base/Graphemes.h"

namespace varkel {

namespace {

/// Stands for "no key in particular" on events that carry their text themselves.
constexpr CGKeyCode textKeyCode = 0;

KeyEvents makeEvents(EventPoster& poster, CGKeyCode keyCode) {
    return {poster.CGEventCreateKeyboardEvent(keyCode, true),
            poster.CGEventCreateKeyboardEvent(keyCode, false)};
}

}  // namespace

KeyEvents eventsForKeyPress(EventPoster& poster, const KeyPress& press) {
    KeyEvents events = makeEvents(poster, press.keyCode);
    if (press.flags == 0) return events;
    if (events.down) poster.CGEventSetFlags(*events.down, press.flags);
    if (events.up) poster.CGEventSetFlags(*events.up, press.flags);
    return events;
}

KeyEvents eventsForCharacter(EventPoster& poster, std::string_view character) {
    if (const auto press = keyCodeForCharacter(character)) return eventsForKeyPress(poster, *press);
    KeyEvents events = makeEvents(poster, textKeyCode);
    const auto units = utf16(character);
    if (events.down) poster.CGEventKeyboardSetUnicodeString(*events.down, units);
    if (events.up) poster.CGEventKeyboardSetUnicodeString(*events.up, units);
    return events;
}

}  // namespace varkel
