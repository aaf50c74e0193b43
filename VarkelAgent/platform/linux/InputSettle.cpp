#include "platform/linux/InputSettle.h"

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>

namespace varkel {

namespace {

using Clock = std::chrono::steady_clock;

/// For applications that answer no ping.
constexpr std::chrono::milliseconds settleTime{250};

bool answersPing(X11Connection::Session& session, xcb_window_t window) {
    const auto protocols = session.property<xcb_atom_t>(window, "WM_PROTOCOLS", 64);
    return std::find(protocols.begin(), protocols.end(), session.atom("_NET_WM_PING")) != protocols.end();
}

/// The focus is often on a window deep inside the one that takes part in the window manager's protocols.
std::optional<xcb_window_t> focusedWindowThatAnswers(X11Connection::Session& session) {
    const XcbPtr<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(session.get(), xcb_get_input_focus(session.get()), nullptr));
    if (!focus) return std::nullopt;
    xcb_window_t window = focus->focus;
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

}  // namespace

bool waitUntilEventsAreRead(X11Connection::Session& session, std::chrono::milliseconds patience) {
    const auto until = Clock::now() + patience;
    const auto window = focusedWindowThatAnswers(session);
    if (!window) {
        std::this_thread::sleep_for(std::min(settleTime, patience));
        return true;
    }
    // The answer goes to the root window, for the window manager. A number that no clock of the server shows
    // soon keeps the manager from taking it for an answer to a ping of its own.
    static std::atomic<std::uint32_t> serial{0xF0000000};
    const auto ping = pingFor(session, *window, ++serial);
    selectRootEvents(session, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    xcb_send_event(session.get(), 0, *window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&ping));
    xcb_flush(session.get());
    const bool answered = awaitAnswer(session, ping, until);
    selectRootEvents(session, XCB_EVENT_MASK_NO_EVENT);
    return answered;
}

}  // namespace varkel
