#pragma once

#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/EventPoster.h"
#include "platform/linux/wayland/KeyFocus.h"
#include "platform/linux/wayland/KeyHold.h"
#include "platform/linux/wayland/OwnKeymap.h"
#include "platform/linux/wayland/ReadingPace.h"
#include "platform/linux/wayland/WaylandConnection.h"
#include "platform/linux/wayland/WaylandOutputs.h"

struct zwp_virtual_keyboard_v1;
struct zwlr_virtual_pointer_v1;

namespace varkel {

/// Posts events with a virtual keyboard and a virtual pointer of the compositor's. Any thread.
///
/// A key is pressed and released at once, when its key-down is posted: applications repeat a key by
/// themselves while it is down, and must not while this process is held up. What is not delivered is thrown
/// as an EventError, keys also when another window has come to the front while a text is typed.
class WaylandEventPoster : public EventPoster {
  public:
    /// Whether the compositor on this connection has what is needed.
    static bool isOffered(const WaylandConnection& connection);

    /// `focus` outlives this object.
    explicit WaylandEventPoster(KeyFocusTeller& focus) : focus_(focus) {}
    ~WaylandEventPoster() override { disconnect(); }

    void CGEventPost(const CGEvent& event) override { postTogether({&event, 1}); }
    void postTogether(std::span<const CGEvent> events) override;
    std::unique_ptr<TextAnnouncement> announceText(std::string_view text) override;

  private:
    class Announcement;
    using Clock = std::chrono::steady_clock;

    /// A text that is being typed: what of it is to come, and who is to get it.
    struct Text {
        std::vector<xkb_keysym_t> keysyms;
        std::size_t next = 0;
        WindowId window = 0;
    };

    void connect(Clock::time_point deadline);
    void disconnect();
    void synchronise(Clock::time_point deadline);
    void awaitDevicesKnown();
    static void takeCapabilities(void* self, wl_seat* seat, std::uint32_t capabilities);
    static void ignoreName(void* self, wl_seat* seat, const char* name);
    void post(const CGEvent& event, Clock::time_point deadline);
    void postMouse(const CGEvent& event, Clock::time_point deadline);
    void moveTo(CGPoint point);
    void turnWheel(std::uint32_t axis, std::int32_t steps, Clock::time_point deadline);
    void postKeyDown(const CGEvent& event, Clock::time_point deadline);
    bool holdKeys(const KeyFocus& focus, Clock::time_point deadline);
    void press(xkb_keysym_t keysym, std::uint32_t modifiers, Clock::time_point deadline);
    void bind(xkb_keysym_t keysym, const KeyFocus& focus, Clock::time_point deadline);
    void sendKeymap();
    KeyFocus askFocus(Clock::time_point deadline);
    KeyFocus awaitReceiver(Clock::time_point deadline);
    void awaitOtherTexts(std::unique_lock<std::mutex>& lock, WindowId window);
    void endAnnouncement(std::list<Text>::iterator text);

    KeyFocusTeller& focus_;
    std::mutex mutex_;
    std::condition_variable textEnded_;
    // What follows is touched only under the lock.
    std::list<Text> texts_;
    OwnKeymap keymap_;
    bool keymapSent_ = false;
    /// As KeyFocus::keyboardChanges, when it was sent.
    std::uint64_t keyboardChanges_ = 0;
    /// Whose start has been waited for.
    std::optional<pid_t> settled_;
    ReadingPace pace_;
    WaylandConnection connection_;
    WaylandOutputs outputs_;
    KeyHold hold_{connection_};
    wl_seat* seat_ = nullptr;
    /// By wl_seat.
    std::uint32_t capabilities_ = 0;
    zwp_virtual_keyboard_v1* keyboard_ = nullptr;
    zwlr_virtual_pointer_v1* pointer_ = nullptr;
};

}  // namespace varkel
