#include "platform/linux/x11/FrontmostWatcher.h"

#include "platform/linux/x11/WindowProcess.h"

namespace varkel {

namespace {

void listen(xcb_connection_t* connection, xcb_window_t window, std::uint32_t events) {
    xcb_change_window_attributes(connection, window, XCB_CW_EVENT_MASK, &events);
}

std::optional<std::uint32_t> single(X11Connection::Session& session, xcb_window_t window,
                                    const char* property) {
    const auto values = session.property<std::uint32_t>(window, property, 1);
    if (values.empty() || values[0] == 0) return std::nullopt;
    return values[0];
}

}  // namespace

std::optional<pid_t> FrontmostWatcher::ask(std::chrono::milliseconds limit) {
    X11Connection::Session session(connection_, limit);
    if (!session) return std::nullopt;
    if (generation_ != session.generation()) {
        generation_ = session.generation();
        current_ = false;
        activeWindowAtom_ = session.atom("_NET_ACTIVE_WINDOW");
        managerAtom_ = session.atom("_NET_SUPPORTING_WM_CHECK");
        pidAtom_ = session.atom("_NET_WM_PID");
        listen(session.get(), session.root(), XCB_EVENT_MASK_PROPERTY_CHANGE);
    }
    drain(session.get());
    if (!current_) refresh(session);
    return session && current_ ? pid_ : std::nullopt;
}

std::optional<pid_t> FrontmostWatcher::peek() {
    std::optional<pid_t> known;
    connection_.withoutWaiting([&](xcb_connection_t* connection) {
        if (generation_ != connection_.generation()) return;
        drain(connection);
        if (current_ && xcb_connection_has_error(connection) == 0) known = pid_;
    });
    return known;
}

void FrontmostWatcher::drain(xcb_connection_t* connection) {
    while (const XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
        const int type = event->response_type & 0x7f;
        if (type == XCB_DESTROY_NOTIFY) current_ = false;
        if (type != XCB_PROPERTY_NOTIFY) continue;
        const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
        const bool matters =
            change->atom == activeWindowAtom_ || change->atom == managerAtom_ || change->atom == pidAtom_;
        if (matters) current_ = false;
    }
}

void FrontmostWatcher::refresh(X11Connection::Session& session) {
    pid_.reset();
    // Set first: an event that arrives while reading makes the next call read again.
    current_ = true;
    const auto manager = single(session, session.root(), "_NET_SUPPORTING_WM_CHECK");
    if (!manager) return;
    // The hints of a window manager that has gone stay on the root window; its own window does not.
    listen(session.get(), *manager, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    if (single(session, *manager, "_NET_SUPPORTING_WM_CHECK") != manager) return;
    const auto window = single(session, session.root(), "_NET_ACTIVE_WINDOW");
    if (!window) return;
    listen(session.get(), *window, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
    pid_ = processOfWindow(session, *window);
}

}  // namespace varkel
