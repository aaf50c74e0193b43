#include "platform/linux/x11/WindowList.h"

#include <algorithm>
#include <thread>

#include "platform/linux/x11/InputSync.h"
#include "platform/linux/x11/WindowProcess.h"

namespace varkel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t maxWindows = 4096;
constexpr std::chrono::milliseconds activePoll{10};
/// Who asks: 2 is a program that acts for the person, as a pager does.
constexpr std::uint32_t actsForPerson = 2;

std::vector<xcb_window_t> childrenOfRoot(X11Connection::Session& session) {
    const XcbPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(session.get(), xcb_query_tree(session.get(), session.root()), nullptr));
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    return {children, children + xcb_query_tree_children_length(tree.get())};
}

/// The hints of a window manager that has gone stay on the root window; its own window does not.
bool hasManager(X11Connection::Session& session) {
    static constexpr std::string_view check = "_NET_SUPPORTING_WM_CHECK";
    const auto manager = session.property<xcb_window_t>(session.root(), check, 1);
    return !manager.empty() && session.property<xcb_window_t>(manager.front(), check, 1) == manager;
}

std::vector<xcb_window_t> windowIds(X11Connection::Session& session) {
    for (const char* list : {"_NET_CLIENT_LIST_STACKING", "_NET_CLIENT_LIST"}) {
        auto windows = session.property<xcb_window_t>(session.root(), list, maxWindows);
        if (!windows.empty()) return windows;
    }
    // Without a window manager, windows are right below the root. Under one that manages none yet, what is
    // there are windows that toolkits have made for themselves.
    return hasManager(session) ? std::vector<xcb_window_t>() : childrenOfRoot(session);
}

ClientWindow describe(X11Connection::Session& session, xcb_window_t id) {
    ClientWindow window;
    window.id = id;
    window.process = processOfWindow(session, id);

    const std::string classes = session.text(id, "WM_CLASS");
    const auto end = classes.find('\0');
    window.instanceName = classes.substr(0, end);
    if (end != std::string::npos)
        window.className = classes.substr(end + 1, classes.find('\0', end + 1) - end - 1);

    for (const char* name : {"_GTK_APPLICATION_ID", "_KDE_NET_WM_DESKTOP_FILE"}) {
        if (window.applicationId.empty()) window.applicationId = session.text(id, name);
    }
    return window;
}

/// Toolkits make windows that only they themselves have a use for, and leave them without either.
bool introducesItself(X11Connection::Session& session, const ClientWindow& window) {
    const auto id = static_cast<xcb_window_t>(window.id);
    return !window.className.empty() || !session.property<std::uint32_t>(id, "_NET_WM_PID", 1).empty();
}

/// The server's clock: a property is changed by nothing, and the event about it tells the time.
xcb_timestamp_t serverTime(X11Connection::Session& session) {
    const xcb_window_t window = xcb_generate_id(session.get());
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(session.get(), XCB_COPY_FROM_PARENT, window, session.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    xcb_change_property(session.get(), XCB_PROP_MODE_APPEND, window, session.atom("WM_NAME"), XCB_ATOM_STRING,
                        8, 0, nullptr);
    session.synchronise();
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(session.get())}) {
        if ((event->response_type & 0x7F) != XCB_PROPERTY_NOTIFY) continue;
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
        if (change.window == window) time = change.time;
    }
    xcb_destroy_window(session.get(), window);
    return time;
}

bool supports(X11Connection::Session& session, std::string_view name) {
    const auto supported = session.property<xcb_atom_t>(session.root(), "_NET_SUPPORTED", maxWindows);
    return std::find(supported.begin(), supported.end(), session.atom(name)) != supported.end();
}

void askWindowManager(X11Connection::Session& session, xcb_window_t window, std::string_view what,
                      std::uint32_t second, std::uint32_t third) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = session.atom(what);
    message.data.data32[0] = actsForPerson;
    message.data.data32[1] = second;
    message.data.data32[2] = third;
    xcb_send_event(session.get(), 0, session.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
}

void raise(X11Connection::Session& session, xcb_window_t window, bool byManager) {
    if (byManager) {
        askWindowManager(session, window, "_NET_RESTACK_WINDOW", XCB_NONE, XCB_STACK_MODE_ABOVE);
        return;
    }
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(session.get(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
}

xcb_window_t activeWindow(X11Connection::Session& session, bool byManager) {
    if (!byManager) return focusedWindow(session);
    const auto property = session.property<xcb_window_t>(session.root(), "_NET_ACTIVE_WINDOW", 1);
    return property.empty() ? xcb_window_t{XCB_WINDOW_NONE} : property.front();
}

bool isAmong(xcb_window_t window, const std::vector<xcb_window_t>& windows) {
    return window != XCB_WINDOW_NONE && std::find(windows.begin(), windows.end(), window) != windows.end();
}

/// Windows like a clock's want no keys, and say so.
bool takesFocus(X11Connection::Session& session, xcb_window_t window) {
    constexpr std::uint32_t inputHint = 1;
    const auto hints = session.property<std::uint32_t>(window, "WM_HINTS", 9);
    if (hints.size() < 2 || (hints[0] & inputHint) == 0 || hints[1] != 0) return true;
    const auto protocols = session.property<xcb_atom_t>(window, "WM_PROTOCOLS", 64);
    return std::find(protocols.begin(), protocols.end(), session.atom("WM_TAKE_FOCUS")) != protocols.end();
}

struct Front {
    bool active = false;
    bool focused = false;
};

/// The property goes first: it may still name a window whose number a new one has got.
Front lookAtFront(X11Connection::Session& session, const std::vector<xcb_window_t>& windows, bool byManager) {
    const xcb_window_t window = activeWindow(session, byManager);
    Front front{isAmong(window, windows), false};
    if (!front.active || !session) return front;
    front.focused = haveOneOwner(session, focusedWindow(session), window) || !takesFocus(session, window);
    return front;
}

void askForActivation(X11Connection::Session& session, const std::vector<xcb_window_t>& windows,
                      bool byManager) {
    const bool canRestack = supports(session, "_NET_RESTACK_WINDOW");
    for (const xcb_window_t window : windows) raise(session, window, canRestack);
    const xcb_timestamp_t time = serverTime(session);
    if (byManager) {
        askWindowManager(session, windows.back(), "_NET_ACTIVE_WINDOW", time, XCB_NONE);
    } else {
        xcb_set_input_focus(session.get(), XCB_INPUT_FOCUS_PARENT, windows.back(), time);
    }
}

}  // namespace

std::optional<std::vector<ClientWindow>> listClientWindows(X11Connection::Session& session) {
    if (!session) return std::nullopt;
    std::vector<ClientWindow> windows;
    for (const xcb_window_t id : windowIds(session)) {
        ClientWindow window = describe(session, id);
        if (introducesItself(session, window)) windows.push_back(std::move(window));
    }
    if (!session) return std::nullopt;
    return windows;
}

bool isActive(X11Connection::Session& session, xcb_window_t window) {
    return session && isAmong(activeWindow(session, supports(session, "_NET_ACTIVE_WINDOW")), {window});
}

bool activateWindows(X11Connection& connection, const std::vector<xcb_window_t>& windows,
                     std::chrono::milliseconds patience) {
    if (windows.empty()) return false;
    bool byManager = false;
    {
        X11Connection::Session session(connection);
        if (!session) return false;
        byManager = supports(session, "_NET_ACTIVE_WINDOW");
        askForActivation(session, windows, byManager);
    }
    const auto until = Clock::now() + patience;
    for (;;) {
        Front front;
        {
            X11Connection::Session session(connection);
            if (!session) return false;
            front = lookAtFront(session, windows, byManager);
        }
        if (front.active && front.focused) return true;
        if (Clock::now() >= until) return front.active;
        std::this_thread::sleep_for(activePoll);
    }
}

}  // namespace varkel
