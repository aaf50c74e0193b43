#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <tuple>

#include "platform/EventPoster.h"
#include "platform/linux/input/Keyboard.h"
#include "platform/linux/x11/InputSync.h"
#include "platform/linux/x11/X11Connection.h"

namespace varkel {

/// Posts events through the X server's test extension. Any thread.
class X11EventPoster : public EventPoster {
  public:
    /// `display` as in the environment variable DISPLAY; empty takes that variable.
    explicit X11EventPoster(std::string display = {});
    ~X11EventPoster() override;

    void CGEventPost(const CGEvent& event) override { postTogether({&event, 1}); }
    void postTogether(std::span<const CGEvent> events) override;
    std::unique_ptr<TextAnnouncement> announceText(std::string_view text) override;

  private:
    class Announcement;
    using PressId = std::tuple<CGKeyCode, CGEventFlags, std::u16string>;

    template <class Use>
    void withServer(std::unique_lock<std::mutex>& lock, std::chrono::milliseconds patience, Use use);
    void probe(std::unique_lock<std::mutex>& lock);
    void awaitReceiver(X11Connection::Session& session);
    void post(X11Connection::Session& session, const CGEvent& event);
    void postMouse(X11Connection::Session& session, const CGEvent& event);
    void postWheel(X11Connection::Session& session, const CGEvent& event);
    void postKeyDown(X11Connection::Session& session, const CGEvent& event);
    void postKeyUp(X11Connection::Session& session, const CGEvent& event);
    void endAnnouncement(std::list<PlannedText>::iterator text);
    void restoreSoon();
    bool wakeBackgroundThread();
    void runInBackground();
    bool inUse() const;
    bool isIdle() const;
    bool restoreKeyboard(std::unique_lock<std::mutex>& lock);

    X11Connection connection_;

    /// Guards everything below.
    std::mutex mutex_;
    Keyboard keyboard_;
    std::list<PlannedText> texts_;
    /// What is down, by the event that pressed it: the layout may change before the key comes up.
    std::multimap<PressId, xcb_keycode_t> down_;
    /// The application that was seen to read its events.
    KeyReceiver receiver_;
    /// Whether the mouse button went down and has not come up.
    bool buttonDown_ = false;
    /// The connection that the keys were pressed on.
    std::uint64_t generation_ = 0;
    /// Whether the server let a session run out of time and has not answered since.
    bool stalled_ = false;

    std::condition_variable answersAgain_;
    std::condition_variable changed_;
    std::chrono::steady_clock::time_point lastUse_;
    bool stopping_ = false;
    std::thread backgroundThread_;
};

}  // namespace varkel
