#include "platform/linux/x11/ScreenWindows.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "platform/linux/x11/WindowProcess.h"

namespace varkel {

namespace {

/// More windows than a desktop has; a server that lists more is asked about this many.
constexpr std::size_t maxWindows = 4096;
constexpr std::uint32_t maxTitleWords = 256;

/// What an X server that does not answer may cost a request.
constexpr std::chrono::milliseconds patience{1000};

using PropertyReply = XcbPtr<xcb_get_property_reply_t>;

/// A property that has been asked for.
class Property {
  public:
    Property(X11Connection::Session& session, xcb_window_t window, std::string_view name, std::uint32_t words)
        : connection_(session.get()),
          cookie_(xcb_get_property(session.get(), 0, window, session.atom(name), XCB_ATOM_ANY, 0, words)) {}

    /// Waits for the values; called once.
    std::vector<std::uint32_t> numbers() {
        const PropertyReply reply = wait(32);
        if (!reply) return {};
        std::vector<std::uint32_t> values(size(reply) / sizeof(std::uint32_t));
        if (!values.empty())
            std::memcpy(values.data(), xcb_get_property_value(reply.get()),
                        values.size() * sizeof(std::uint32_t));
        return values;
    }

    std::string text() {
        const PropertyReply reply = wait(8);
        if (!reply) return {};
        return {static_cast<const char*>(xcb_get_property_value(reply.get())), size(reply)};
    }

  private:
    PropertyReply wait(int format) {
        PropertyReply reply(xcb_get_property_reply(connection_, cookie_, nullptr));
        if (reply && reply->format != format) reply.reset();
        return reply;
    }

    static std::size_t size(const PropertyReply& reply) {
        return static_cast<std::size_t>(std::max(xcb_get_property_value_length(reply.get()), 0));
    }

    xcb_connection_t* connection_;
    xcb_get_property_cookie_t cookie_;
};

/// Everything about a window, asked for at once.
class WindowQuestion {
  public:
    WindowQuestion(X11Connection::Session& session, xcb_window_t window, bool popup)
        : connection_(session.get()),
          window_(window),
          popup_(popup),
          geometry_(xcb_get_geometry(connection_, window)),
          origin_(xcb_translate_coordinates(connection_, window, session.root(), 0, 0)),
          process_(session, window, "_NET_WM_PID", 1),
          title_(session, window, "_NET_WM_NAME", maxTitleWords),
          oldTitle_(session, window, "WM_NAME", maxTitleWords),
          shadow_(session, window, "_GTK_FRAME_EXTENTS", 4),
          frame_(session, window, "_NET_FRAME_EXTENTS", 4) {}

    struct Answer {
        xcb_window_t id = XCB_WINDOW_NONE;
        std::optional<pid_t> process;
        ScreenWindow window;
    };

    /// Waits for the answers; called once. Nothing when the window has gone.
    std::optional<Answer> wait() {
        const XcbPtr<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(connection_, geometry_, nullptr));
        const XcbPtr<xcb_translate_coordinates_reply_t> origin(
            xcb_translate_coordinates_reply(connection_, origin_, nullptr));
        const auto process = process_.numbers();
        Answer answer;
        answer.id = window_;
        if (!process.empty()) answer.process = static_cast<pid_t>(process.front());
        answer.window.title = title_.text();
        const std::string oldTitle = oldTitle_.text();
        if (answer.window.title.empty()) answer.window.title = oldTitle;
        answer.window.shadow = edges(shadow_.numbers());
        answer.window.frame = edges(frame_.numbers());
        answer.window.popup = popup_;
        if (!geometry || !origin) return std::nullopt;
        answer.window.area = {static_cast<double>(origin->dst_x), static_cast<double>(origin->dst_y),
                              static_cast<double>(geometry->width), static_cast<double>(geometry->height)};
        return answer;
    }

  private:
    static Edges edges(const std::vector<std::uint32_t>& numbers) {
        // Any client can write them.
        constexpr std::uint32_t widest = 1000;
        const bool sane = numbers.size() == 4 &&
                          std::ranges::all_of(numbers, [](std::uint32_t each) { return each <= widest; });
        if (!sane) return {};
        return {static_cast<std::int32_t>(numbers[0]), static_cast<std::int32_t>(numbers[1]),
                static_cast<std::int32_t>(numbers[2]), static_cast<std::int32_t>(numbers[3])};
    }

    xcb_connection_t* connection_;
    xcb_window_t window_;
    bool popup_;
    xcb_get_geometry_cookie_t geometry_;
    xcb_translate_coordinates_cookie_t origin_;
    Property process_;
    Property title_;
    Property oldTitle_;
    Property shadow_;
    Property frame_;
};

using Answers = std::vector<WindowQuestion::Answer>;

Answers describe(X11Connection::Session& session, const std::vector<xcb_window_t>& windows, bool popups) {
    std::vector<WindowQuestion> questions;
    questions.reserve(windows.size());
    for (const xcb_window_t window : windows) questions.emplace_back(session, window, popups);
    Answers answers;
    for (WindowQuestion& question : questions) {
        if (auto answer = question.wait()) answers.push_back(std::move(*answer));
    }
    return answers;
}

/// The windows right below the root that show something, by whether a window manager is to leave them alone.
struct TopWindows {
    std::vector<xcb_window_t> managed;
    std::vector<xcb_window_t> popups;
};

TopWindows shownBelowRoot(xcb_connection_t* connection, xcb_query_tree_cookie_t question) {
    const XcbPtr<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, question, nullptr));
    if (!tree) return {};
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const auto all = static_cast<std::size_t>(xcb_query_tree_children_length(tree.get()));
    std::vector<std::pair<xcb_window_t, xcb_get_window_attributes_cookie_t>> questions;
    for (std::size_t i = all - std::min(all, maxWindows); i < all; ++i) {
        questions.emplace_back(children[i], xcb_get_window_attributes(connection, children[i]));
    }
    TopWindows windows;
    for (const auto& [window, cookie] : questions) {
        const XcbPtr<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(connection, cookie, nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
        if (attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT) continue;
        (attributes->override_redirect != 0 ? windows.popups : windows.managed).push_back(window);
    }
    return windows;
}

/// The property comes with everything else. Where no window bears the process's number, as with one that has
/// another in its own namespace, the server is asked about each.
void keepThoseOf(pid_t process, X11Connection::Session& session, Answers& answers) {
    const auto isOf = [process](const auto& answer) { return answer.process == process; };
    if (std::ranges::none_of(answers, isOf)) {
        for (auto& answer : answers) answer.process = processOfWindow(session, answer.id);
    }
    std::erase_if(answers, std::not_fn(isOf));
}

}  // namespace

std::vector<ScreenWindow> screenWindowsOf(X11Connection& screen, pid_t process) {
    X11Connection::Session session(screen, patience);
    if (!session) return {};
    const auto tree = xcb_query_tree(session.get(), session.root());
    Property clients(session, session.root(), "_NET_CLIENT_LIST", maxWindows);
    Property activeWindow(session, session.root(), "_NET_ACTIVE_WINDOW", 1);
    TopWindows shown = shownBelowRoot(session.get(), tree);
    const auto active = activeWindow.numbers();
    // Without a window manager, windows are right below the root.
    if (auto listed = clients.numbers(); !listed.empty()) shown.managed = std::move(listed);

    Answers answers = describe(session, shown.managed, false);
    std::ranges::move(describe(session, shown.popups, true), std::back_inserter(answers));
    if (!session) return {};
    keepThoseOf(process, session, answers);
    std::vector<ScreenWindow> windows;
    for (auto& answer : answers) {
        answer.window.active = !active.empty() && active.front() == answer.id;
        windows.push_back(std::move(answer.window));
    }
    return windows;
}

}  // namespace varkel
