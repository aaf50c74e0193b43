#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/linux/windows/WindowSystem.h"

namespace varkel {

/// How it stands with an application that was asked a moment ago to come to the front, and whose the keys are
/// to be: none was, it has not come, or it has.
enum class Activation { none, awaited, done };

inline Activation activationOf(std::optional<pid_t> asked, std::chrono::steady_clock::time_point until,
                               std::optional<pid_t> inFront) {
    if (!asked || std::chrono::steady_clock::now() >= until) return Activation::none;
    return asked == inFront ? Activation::done : Activation::awaited;
}

/// Who gets the keys now.
struct KeyFocus {
    /// 0 when no window of an application does.
    WindowId window = 0;
    std::optional<pid_t> process;
    /// An X11 program's window.
    bool xwayland = false;
    Activation activation = Activation::none;
    /// Another number than before says that the keymap which was set may have been replaced.
    std::uint64_t keyboardChanges = 0;
};

/// Tells who gets the keys. Any thread.
class KeyFocusTeller {
  public:
    KeyFocusTeller() = default;
    KeyFocusTeller(const KeyFocusTeller&) = delete;
    KeyFocusTeller& operator=(const KeyFocusTeller&) = delete;
    virtual ~KeyFocusTeller() = default;

    /// Nothing when the compositor does not tell by then.
    virtual std::optional<KeyFocus> keyFocus(std::chrono::steady_clock::time_point deadline) = 0;
};

}  // namespace varkel
