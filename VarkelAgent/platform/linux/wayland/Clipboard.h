#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/Deadline.h"

namespace varkel {

/// The clipboard, for characters that no key gives. One thread at a time. What was not done is thrown as an
/// EventError.
class Clipboard {
  public:
    Clipboard() = default;
    Clipboard(const Clipboard&) = delete;
    Clipboard& operator=(const Clipboard&) = delete;
    virtual ~Clipboard() = default;

    /// Puts a text (UTF-8) there, has `paste` press the keys that paste it, and waits until the application
    /// has taken it. What the clipboard held is kept first.
    virtual void paste(const std::string& text, const std::function<void()>& paste, Deadline deadline) = 0;

    /// Puts back what it held, as far as that is text, and lets go of it. Does nothing where nothing was
    /// kept.
    virtual void restore(Deadline deadline) = 0;
};

/// The clipboard by the interface of GNOME's compositor.
std::unique_ptr<Clipboard> makeMutterClipboard();

/// The clipboard by the protocol that Plasma's compositor and those of wlroots have for it.
std::unique_ptr<Clipboard> makeDataControlClipboard();

}  // namespace varkel
