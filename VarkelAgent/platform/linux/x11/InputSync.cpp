#include "platform/linux/x11/InputSync.h"

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>

#include "platform/linux/process/ProcessActivity.h"
#include "platform/linux/x11/WindowProcess.h"

namespace varkel {

namespace {

using Clock = std::chrono::steady_clock;

/// How long an application that answers no ping gets to read its events.
constexpr std::chrono::milliseconds syncDelay{250};

/// The window manager says who is in front as soon as it has given the focus away; it arrives later.
constexpr std::chrono::milliseconds focusPatience{300};
constexpr std::chrono::milliseconds focusPoll{5};
/// How long an application gets to read that it has the focus.
constexpr std::chrono::milliseconds pingPatience{2000};

bool answersPing(X11Connection::Session& session, xcb_window_t window) {
    const auto protocols = session.property<xcb_atom_t>(window, "WM_PROTOCOLS", 64);
    return std::find(protocols.begin(), protocols.end(), session.atom("_NET_WM_PING")) != protocols.end();
}

/// The focus is often on a window deep inside the one that takes part in the window manager's protocols.
std::optional<xcb_window_t> focusedWindowThatAnswers(X11Connection::Session& session) {
    xcb_window_t window = focusedWindow(session);
    for (int depth = 0; depth < 16 && window > XCB_INPUT_FOCUS_POINTER_ROOT && window != session.root();
         ++depth) {
        if (answersPing(session, window)) return window;
        const XcbPtr<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(session.get(), xcb_query_tree(session.get(), window), nullptr));
        if (!tree) return std::nullopt;
        window = tree->parent;
    }
    return std::nullopt;
}

void selectRootEvents(X11Connection::Session& session, std::uint32_t mask) {
    xcb_change_window_attributes(session.get(), session.root(), XCB_CW_EVENT_MASK, &mask);
}

xcb_client_message_event_t pingFor(X11Connection::Session& session, xcb_window_t window,
                                   std::uint32_t serial) {
    xcb_client_message_event_t ping{};
    ping.response_type = XCB_CLIENT_MESSAGE;
    ping.format = 32;
    ping.window = window;
    ping.type = session.atom("WM_PROTOCOLS");
    ping.data.data32[0] = session.atom("_NET_WM_PING");
    ping.data.data32[1] = serial;
    ping.data.data32[2] = window;
    return ping;
}

bool isAnswer(const xcb_generic_event_t& event, const xcb_client_message_event_t& ping) {
    if ((event.response_type & 0x7F) != XCB_CLIENT_MESSAGE) return false;
    const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
    return message.type == ping.type && message.data.data32[0] == ping.data.data32[0] &&
           message.data.data32[1] == ping.data.data32[1];
}

/// Reads events until the answer comes or time is up. Other events are lost on purpose: what they could tell
/// (a changed keyboard) is found out anew by the caller.
bool awaitAnswer(X11Connection::Session& session, const xcb_client_message_event_t& ping,
                 Clock::time_point until) {
    while (session) {
        while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(session.get())}) {
            if (isAnswer(*event, ping)) return true;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        if (left <= 0) return false;
        pollfd socket{xcb_get_file_descriptor(session.get()), POLLIN, 0};
        poll(&socket, 1, static_cast<int>(left));
    }
    return false;
}

/// Pings a window and waits for the answer.
bool ping(X11Connection::Session& session, xcb_window_t window, std::chrono::milliseconds patience) {
    const auto until = Clock::now() + patience;
    // The answer goes to the root window, for the window manager. A number that no clock of the server shows
    // soon keeps the manager from taking it for an answer to a ping of its own.
    static std::atomic<std::uint32_t> serial{0xF0000000};
    const auto message = pingFor(session, window, ++serial);
    // Most toolkits send the answer to who listens for what happens below the root, Qt to who listens for
    // what happens to it.
    selectRootEvents(session, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    xcb_send_event(session.get(), 0, window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(session.get());
    const bool answered = awaitAnswer(session, message, until);
    selectRootEvents(session, XCB_EVENT_MASK_NO_EVENT);
    return answered;
}

/// Whether the focus is where the window manager says, or it does not say.
bool focusHasArrived(X11Connection::Session& session) {
    const auto active = session.property<xcb_window_t>(session.root(), "_NET_ACTIVE_WINDOW", 1);
    if (active.empty() || active.front() == XCB_WINDOW_NONE) return true;
    // A window that is gone may still be called active.
    return haveOneOwner(session, focusedWindow(session), active.front()) ||
           !processOfWindow(session, active.front());
}

}  // namespace

xcb_window_t focusedWindow(X11Connection::Session& session) {
    const XcbPtr<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(session.get(), xcb_get_input_focus(session.get()), nullptr));
    return focus ? focus->focus : xcb_window_t{XCB_WINDOW_NONE};
}

bool haveOneOwner(X11Connection::Session& session, xcb_window_t a, xcb_window_t b) {
    const std::uint32_t ownerBits = ~xcb_get_setup(session.get())->resource_id_mask;
    return (a & ownerBits) == (b & ownerBits);
}

KeyReceiver keyReceiver(X11Connection::Session& session) {
    const xcb_window_t window = focusedWindow(session);
    if (window <= XCB_INPUT_FOCUS_POINTER_ROOT) return {};
    return {window, processOfWindow(session, window)};
}

KeyReceiver waitUntilKeysAreHeard(X11Connection::Session& session) {
    const auto until = Clock::now() + focusPatience;
    while (session && !focusHasArrived(session) && Clock::now() < until) {
        std::this_thread::sleep_for(focusPoll);
    }
    const auto window = session ? focusedWindowThatAnswers(session) : std::nullopt;
    if (window) ping(session, *window, pingPatience);
    if (!session) return {};
    // Having read that it has the focus, the application may have moved it on within its window.
    KeyReceiver receiver = keyReceiver(session);
    if (receiver.process && waitUntilSettled(*receiver.process)) receiver = keyReceiver(session);
    return receiver;
}

bool waitUntilEventsAreRead(X11Connection::Session& session, std::chrono::milliseconds patience) {
    const auto window = focusedWindowThatAnswers(session);
    if (window) return ping(session, *window, patience);
    std::this_thread::sleep_for(std::min(syncDelay, patience));
    return true;
}

}  // namespace varkel
