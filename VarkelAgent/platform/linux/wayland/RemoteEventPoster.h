#pragma once

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/EventPoster.h"
#include "platform/linux/wayland/Clipboard.h"
#include "platform/linux/wayland/InputDevices.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/wayland/ReadingPace.h"

namespace varkel {

/// Posts events with devices that the desktop lends, pressed and released at once when the key-down is
/// posted. What no key gives is pasted. What is not delivered is thrown as an EventError, keys also when
/// another window has come to the front while a text is typed. Any thread.
class RemoteEventPoster : public EventPoster {
  public:
    /// The first of the devices that the desktop lends are used. `clipboard` may be null, `focus` outlives
    /// this object.
    RemoteEventPoster(std::vector<std::unique_ptr<InputDevices>> devices,
                      std::unique_ptr<Clipboard> clipboard, KeyFocusTeller& focus)
        : offers_(std::move(devices)), clipboard_(std::move(clipboard)), focus_(focus) {}

    void CGEventPost(const CGEvent& event) override { postTogether({&event, 1}); }
    void postTogether(std::span<const CGEvent> events) override;
    std::unique_ptr<TextAnnouncement> announceText(std::string_view text) override;

    /// Presses the keys that bring the window to the front that has been behind the longest.
    void switchWindow();

  private:
    class Announcement;
    using Clock = std::chrono::steady_clock;

    void openDevices(Deadline deadline);
    bool chooseDevices(Deadline deadline);
    void post(const CGEvent& event, Deadline deadline);
    void postKeyDown(const CGEvent& event, Deadline deadline);
    KeyFocus checkedReceiver();
    void paste(const std::string& text);
    KeyFocus askFocus(Deadline deadline);
    KeyFocus awaitReceiver(Deadline deadline);
    void awaitOtherTexts(std::unique_lock<std::mutex>& lock, WindowId window);
    void endAnnouncement(std::list<WindowId>::iterator text);

    std::vector<std::unique_ptr<InputDevices>> offers_;
    std::unique_ptr<Clipboard> clipboard_;
    KeyFocusTeller& focus_;
    std::mutex mutex_;
    std::condition_variable textEnded_;
    // What follows is touched only under the lock.
    InputDevices* devices_ = nullptr;
    /// The windows that texts are being typed into.
    std::list<WindowId> texts_;
    /// Whose start has been waited for.
    std::optional<pid_t> settled_;
    ReadingPace pace_;
};

}  // namespace varkel
