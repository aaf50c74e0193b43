#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Accessibility.h"

namespace varkel {

/// The kinds of events that the agent posts, by their numbers in the event stream.
enum class CGEventType : std::uint32_t {
    leftMouseDown = 1,
    leftMouseUp = 2,
    mouseMoved = 5,
    keyDown = 10,
    keyUp = 11,
    scrollWheel = 22,
};

enum class CGMouseButton : std::uint32_t { left = 0 };

/// A virtual key code: the number of a physical key of the US layout (0 is "a").
using CGKeyCode = std::uint16_t;

/// Modifier mask of an event; the bits are those of CGEventFlag.
using CGEventFlags = std::uint64_t;

namespace CGEventFlag {
inline constexpr CGEventFlags shift = 0x20000;
inline constexpr CGEventFlags control = 0x40000;
inline constexpr CGEventFlags alternate = 0x80000;
inline constexpr CGEventFlags command = 0x100000;
inline constexpr CGEventFlags secondaryFn = 0x800000;
}  // namespace CGEventFlag

/// One input event before it is posted. A plain value; which fields count depends on the type.
struct CGEvent {
    CGEventType type = CGEventType::mouseMoved;
    /// Mouse and wheel events: where, in screen coordinates.
    CGPoint point;
    CGMouseButton button = CGMouseButton::left;
    /// Wheel events: steps, positive up and left.
    std::int32_t verticalSteps = 0;
    std::int32_t horizontalSteps = 0;
    /// Key events.
    CGKeyCode keyCode = 0;
    CGEventFlags flags = 0;
    /// Key events: when not empty, what the key types whatever its code. UTF-16.
    std::u16string unicodeString;

    friend bool operator==(const CGEvent&, const CGEvent&) = default;
};

/// An event could not be delivered. what() says why, in words for a person.
class EventError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Ends what announceText() began when it is dropped. Dropping may block like a post.
class TextAnnouncement {
  public:
    TextAnnouncement() = default;
    TextAnnouncement(const TextAnnouncement&) = delete;
    TextAnnouncement& operator=(const TextAnnouncement&) = delete;
    virtual ~TextAnnouncement() = default;
};

/// Makes input events and puts them into the desktop's event stream, as if they came from the hardware.
///
/// Any thread. Making an event never blocks; posting may, no longer than the backend's deadline, so it
/// belongs on a thread that may block. Events of concurrent callers interleave, unless posted together.
class EventPoster {
  public:
    virtual ~EventPoster() = default;

    /// A mouse event at a point, or nothing when it cannot be made.
    virtual std::optional<CGEvent> CGEventCreateMouseEvent(CGEventType type, CGPoint point,
                                                           CGMouseButton button) {
        CGEvent event;
        event.type = type;
        event.point = point;
        event.button = button;
        return event;
    }

    /// A key going down or up, or nothing when the event cannot be made.
    virtual std::optional<CGEvent> CGEventCreateKeyboardEvent(CGKeyCode keyCode, bool keyDown) {
        CGEvent event;
        event.type = keyDown ? CGEventType::keyDown : CGEventType::keyUp;
        event.keyCode = keyCode;
        return event;
    }

    /// Turns of the wheel with the pointer at a point, or nothing when the event cannot be made.
    virtual std::optional<CGEvent> CGEventCreateScrollWheelEvent(CGPoint point, std::int32_t verticalSteps,
                                                                 std::int32_t horizontalSteps) {
        CGEvent event;
        event.type = CGEventType::scrollWheel;
        event.point = point;
        event.verticalSteps = verticalSteps;
        event.horizontalSteps = horizontalSteps;
        return event;
    }

    /// Makes a key event type these UTF-16 code units whatever its key code.
    virtual void CGEventKeyboardSetUnicodeString(CGEvent& event, std::u16string_view units) {
        event.unicodeString = units;
    }

    virtual void CGEventSetFlags(CGEvent& event, CGEventFlags flags) { event.flags = flags; }

    /// Posts the event. A backend that can tell that the event went nowhere throws EventError; posting and
    /// announcing may.
    virtual void CGEventPost(const CGEvent& event) = 0;

    /// Posts events that belong together, with none of a concurrent caller in between: two clicks that get
    /// into each other make a drag from one place to the other.
    virtual void postTogether(std::span<const CGEvent> events) {
        for (const CGEvent& event : events) CGEventPost(event);
    }

    /// A hint: this text (UTF-8) is about to be typed, character by character. A backend may prepare its
    /// keyboard for it until the announcement is dropped; nothing but speed and the fidelity of unusual
    /// characters depends on it. May return null. Blocks like a post.
    virtual std::unique_ptr<TextAnnouncement> announceText(std::string_view text) {
        (void)text;
        return nullptr;
    }
};

}  // namespace varkel
