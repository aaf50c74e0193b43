#include "platform/linux/wayland/KWinWindowSystem.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/json/parse.hpp>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

#include "base/Environment.h"
#include "base/FileDescriptor.h"
#include "platform/linux/wayland/FakeInput.h"
#include "platform/linux/wayland/Portal.h"
#include "platform/linux/wayland/RemoteDesktop.h"

namespace varkel {

namespace {

namespace json = boost::json;
using std::chrono::milliseconds;

constexpr const char* service = "org.kde.KWin";
constexpr const char* scripting = "org.kde.kwin.Scripting";
constexpr const char* scriptingPath = "/Scripting";

constexpr milliseconds patience{1000};
constexpr milliseconds activePoll{10};
/// For how long keys that follow an activation are for the one that was asked to come to the front.
constexpr milliseconds keysFollow{2000};
/// How long an application gets to read its events: it answers nothing that could be asked.
constexpr milliseconds readingTime{250};
constexpr std::size_t maxViews = 4096;

/// Tells of all windows. What stands before it has set `me` and `token`.
constexpr const char* tellingScript = R"(
callDBus(me, "/", "org.varkel.Agent", "Tell", token, JSON.stringify(workspace.clientList().map(function (c) {
    return {id: String(c.internalId), pid: c.pid, title: String(c.caption), name: String(c.resourceName),
            class: String(c.resourceClass), entry: String(c.desktopFileName), frame: c.frameGeometry,
            buffer: c.bufferGeometry, active: c.active, x11: c.windowId > 0};
})));
)";

const json::value* member(const json::value* node, const char* name) {
    const json::object* object = node == nullptr ? nullptr : node->if_object();
    return object == nullptr ? nullptr : object->if_contains(name);
}

std::string text(const json::value& node, const char* name) {
    const json::value* value = member(&node, name);
    return value != nullptr && value->is_string() ? std::string(value->get_string()) : std::string();
}

bool isTrue(const json::value& node, const char* name) {
    const json::value* value = member(&node, name);
    return value != nullptr && value->is_bool() && value->get_bool();
}

double number(const json::value* value) {
    if (value == nullptr) return 0;
    return value->is_int64()    ? static_cast<double>(value->get_int64())
           : value->is_double() ? value->get_double()
                                : 0;
}

PixelRect rectangle(const json::value& node, const char* name) {
    const json::value* value = member(&node, name);
    return {number(member(value, "x")), number(member(value, "y")), number(member(value, "width")),
            number(member(value, "height"))};
}

/// The frame is what is seen, with the compositor's title bar; the buffer is what the application draws, with
/// its shadow.
PixelRect common(const PixelRect& a, const PixelRect& b) {
    const double left = std::max(a.x, b.x);
    const double top = std::max(a.y, b.y);
    return {left, top, std::max(0.0, std::min(a.x + a.width, b.x + b.width) - left),
            std::max(0.0, std::min(a.y + a.height, b.y + b.height) - top)};
}

/// Only these come back into a script.
bool isUuid(std::string_view text) {
    return !text.empty() && text.size() < 64 &&
           text.find_first_not_of("0123456789abcdef-{}") == std::string_view::npos;
}

std::string randomToken() {
    std::random_device random;
    std::string token;
    for (int i = 0; i < 4; ++i) token += std::to_string(random()) + "-";
    return token;
}

/// A script in a file of its own, gone with this object: the compositor reads scripts from files alone.
class ScriptFile {
  public:
    explicit ScriptFile(const std::string& script) {
        const auto folder = environment().find("XDG_RUNTIME_DIR");
        path_ = (folder == environment().end() ? "/tmp" : folder->second) + "/varkel-script-XXXXXX";
        const FileDescriptor file(mkostemp(path_.data(), O_CLOEXEC));
        complete_ =
            file && write(file.get(), script.data(), script.size()) == static_cast<ssize_t>(script.size());
        if (!file) path_.clear();
    }
    ScriptFile(const ScriptFile&) = delete;
    ScriptFile& operator=(const ScriptFile&) = delete;
    ~ScriptFile() {
        if (!path_.empty()) unlink(path_.c_str());
    }

    bool isComplete() const { return complete_; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
    bool complete_ = false;
};

}  // namespace

std::vector<KWinView> readKWinViews(std::string_view told) {
    boost::system::error_code error;
    const json::value list = json::parse(told, error);
    std::vector<KWinView> views;
    if (error || !list.is_array()) return views;
    for (const json::value& each : list.get_array()) {
        KWinView view;
        view.uuid = text(each, "id");
        const double process = number(member(&each, "pid"));
        if (!isUuid(view.uuid) || !(process > 0 && process < 1e9) || views.size() >= maxViews) continue;
        view.window = {std::hash<std::string>{}(view.uuid) | 1, static_cast<pid_t>(process),
                       text(each, "name"), text(each, "class"), text(each, "entry")};
        view.title = text(each, "title");
        view.area = common(rectangle(each, "frame"), rectangle(each, "buffer"));
        view.active = isTrue(each, "active");
        view.xwayland = isTrue(each, "x11");
        views.push_back(std::move(view));
    }
    std::stable_partition(views.begin(), views.end(), [](const KWinView& view) { return !view.active; });
    return views;
}

KWinWindowSystem::KWinWindowSystem() : token_(randomToken()) {
    bus_.setHandler([this](sd_bus_message* message) {
        const char* token = nullptr;
        const char* told = nullptr;
        if (sd_bus_message_is_method_call(message, "org.varkel.Agent", "Tell") > 0 &&
            sd_bus_message_read(message, "ss", &token, &told) > 0 &&
            token == token_ + std::to_string(scripts_))
            told_ = told;
    });
}

bool KWinWindowSystem::isThere(Deadline deadline) {
    SessionBus bus;
    return bus.connect(deadline) && bus.hasOwner(service, deadline);
}

/// What the script tells once it has done what stands in `before`. Called with the lock held.
std::optional<std::string> KWinWindowSystem::run(const std::string& before, Deadline deadline) {
    if (!bus_.connect(deadline)) return std::nullopt;
    const std::string number = std::to_string(++scripts_);
    const std::string name = "varkel-" + std::to_string(getpid()) + "-" + number;
    const ScriptFile file("var me = \"" + bus_.uniqueName() + "\", token = \"" + token_ + number + "\";\n" +
                          before + tellingScript);
    SdBusMessage load = bus_.newCall({service, scriptingPath, scripting, "loadScript"});
    if (!file.isComplete() || !load ||
        sd_bus_message_append(load.get(), "ss", file.path().c_str(), name.c_str()) < 0)
        return std::nullopt;
    const auto loaded = bus_.call(std::move(load), deadline);
    std::int32_t id = -1;
    if (!loaded || sd_bus_message_read(loaded.message.get(), "i", &id) < 0 || id < 0) return std::nullopt;
    told_.reset();
    // Later versions have scripts elsewhere.
    for (const std::string& path : {"/" + std::to_string(id), "/Scripting/Script" + std::to_string(id)}) {
        if (bus_.call(bus_.newCall({service, path.c_str(), "org.kde.kwin.Script", "run"}), deadline)) break;
    }
    bus_.processUntil([this] { return told_.has_value(); }, deadline);
    unload(name, deadline);
    return std::exchange(told_, std::nullopt);
}

void KWinWindowSystem::unload(const std::string& name, Deadline deadline) {
    SdBusMessage message = bus_.newCall({service, scriptingPath, scripting, "unloadScript"});
    if (message && sd_bus_message_append(message.get(), "s", name.c_str()) >= 0)
        bus_.call(std::move(message), deadline);
}

std::optional<KWinWindowSystem::Views> KWinWindowSystem::views(Clock::time_point deadline) {
    const std::unique_lock lock(mutex_, deadline);
    if (!lock.owns_lock()) return std::nullopt;
    const auto told =
        run("", Deadline::in(std::chrono::ceil<milliseconds>(std::max(deadline - Clock::now(), {}))));
    return told ? std::optional(readKWinViews(*told)) : std::nullopt;
}

std::optional<pid_t> KWinWindowSystem::frontmostProcess(milliseconds limit) {
    const auto focus = keyFocus(Clock::now() + limit);
    return focus ? focus->process : std::nullopt;
}

std::optional<KeyFocus> KWinWindowSystem::keyFocus(Clock::time_point deadline) {
    const auto known = views(deadline);
    if (!known) return std::nullopt;
    KeyFocus focus;
    if (!known->empty() && known->back().active) {
        focus.window = known->back().window.id;
        focus.process = known->back().window.process;
        focus.xwayland = known->back().xwayland;
    }
    const std::unique_lock lock(mutex_, deadline);
    if (lock.owns_lock()) focus.activation = activationOf(meant_, meantUntil_, focus.process);
    return focus;
}

std::optional<std::vector<ClientWindow>> KWinWindowSystem::clientWindows() {
    const auto known = views(Clock::now() + patience);
    if (!known) return std::nullopt;
    std::vector<ClientWindow> windows;
    for (const KWinView& each : *known) windows.push_back(each.window);
    return windows;
}

bool KWinWindowSystem::isActive(WindowId window) {
    const auto focus = keyFocus(Clock::now() + patience);
    return focus && focus->window == window;
}

bool KWinWindowSystem::activate(const std::vector<WindowId>& windows, milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    const auto known = views(deadline);
    if (!known) return false;
    std::string script;
    std::optional<pid_t> meant;
    for (const WindowId window : windows) {
        const auto view =
            std::ranges::find(*known, window, [](const KWinView& each) { return each.window.id; });
        if (view == known->end()) continue;
        meant = view->window.process;
        script += "workspace.clientList().forEach(function (c) { if (String(c.internalId) == \"" +
                  view->uuid + "\") { c.minimized = false; workspace.activeClient = c; } });\n";
    }
    if (script.empty()) return false;
    {
        const std::unique_lock lock(mutex_, deadline);
        if (!lock.owns_lock()) return false;
        meant_ = meant;
        meantUntil_ = deadline + keysFollow;
        if (!run(script, Deadline::in(limit))) return false;
    }
    while (!isActive(windows.back())) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(activePoll);
    }
    return true;
}

ProcessWindows KWinWindowSystem::screenWindowsOf(pid_t process) {
    ProcessWindows found{{}, false};
    const auto known = views(Clock::now() + patience);
    if (!known) return found;
    for (const KWinView& each : *known) {
        if (each.window.process != process) continue;
        if (each.xwayland) return xwayland_.screenWindowsOf(process);
        found.windows.push_back({each.area, each.title, {}, {}, false, each.active});
    }
    return found;
}

bool KWinWindowSystem::isScreenReadable() {
    const Deadline deadline = Deadline::in(patience);
    SessionBus bus;
    return bus.connect(deadline) && Portal::versionOf(bus, "org.freedesktop.portal.Screenshot", deadline) > 0;
}

void KWinWindowSystem::waitUntilEventsAreRead(milliseconds limit) {
    std::this_thread::sleep_for(std::min(limit, readingTime));
}

std::vector<std::string> KWinWindowSystem::describeSession() {
    std::vector<std::string> lines{"session=Plasma (Wayland)"};
    if (!FakeInput().isOffered(Deadline::in(patience))) {
        if (const std::string portal = describePortal(); !portal.empty()) lines.push_back(portal);
        lines.emplace_back(
            "hint_session=Plasma lets a program press keys when a desktop entry asks for it: one whose Exec "
            "is this "
            "program's path, with the line X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input. Log in anew "
            "after "
            "adding it");
    }
    if (!views(Clock::now() + patience))
        lines.emplace_back("hint_windows=The compositor runs no scripts: see whether the session still runs");
    return lines;
}

}  // namespace varkel
