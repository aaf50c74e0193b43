#include "platform/linux/atspi/ActiveApplication.h"

#include <algorithm>

#include "platform/linux/atspi/AtspiCalls.h"
#include "platform/linux/atspi/AtspiWire.h"

namespace varkel {

namespace {

// More windows than a person opens; an application that claims to have millions is asked about these.
constexpr int maxWindows = 100;

class WindowSearch {
  public:
    explicit WindowSearch(BusConnection& bus) : bus_(bus) {}

    void askWindows(const AtspiApplication& application) {
        const AtspiReference& root = application.root;
        bus_.call(newAtspiCall(bus_, root.busName.c_str(), root.path.c_str(), AtspiCall::getChildren),
                  [this, pid = application.pid](CallOutcome, sd_bus_message* reply) {
                      if (reply == nullptr || sd_bus_message_enter_container(reply, 'a', "(so)") < 0) return;
                      const char* name = nullptr;
                      const char* path = nullptr;
                      for (int i = 0; i < maxWindows && sd_bus_message_read(reply, "(so)", &name, &path) > 0;
                           ++i) {
                          askState(pid, {name, path});
                      }
                  });
    }

    void askState(pid_t pid, AtspiReference window) {
        auto call = newAtspiCall(bus_, window.busName.c_str(), window.path.c_str(), AtspiCall::getState);
        bus_.call(
            std::move(call), [this, pid, window = std::move(window)](CallOutcome, sd_bus_message* reply) {
                const auto states = reply == nullptr ? std::nullopt : readAtspiStates(reply);
                if (!states) return;
                found_.push_back(
                    {pid, window, {}, states->has(AtspiState::active), states->has(AtspiState::showing)});
                askTitle(found_.size() - 1);
            });
    }

    void askTitle(std::size_t index) {
        const AtspiReference& window = found_[index].window;
        bus_.call(newAtspiCall(bus_, window.busName.c_str(), window.path.c_str(), AtspiCall::getName),
                  [this, index](CallOutcome, sd_bus_message* reply) {
                      const char* title = nullptr;
                      if (reply != nullptr && sd_bus_message_read(reply, "v", "s", &title) > 0)
                          found_[index].title = title;
                  });
    }

    std::vector<AccessibleTopLevel> serve(std::chrono::milliseconds limit, Deadline deadline) {
        BusConnection* const connection = &bus_;
        serveAll({&connection, 1}, limit, deadline);
        return std::move(found_);
    }

  private:
    BusConnection& bus_;
    std::vector<AccessibleTopLevel> found_;
};

}  // namespace

std::vector<AccessibleTopLevel> findTopLevels(AtspiBus& bus, std::chrono::milliseconds limit) {
    const Deadline deadline = Deadline::in(limit);
    const auto lease = bus.lease(deadline);
    if (!lease) return {};
    const std::vector<AtspiApplication> applications = bus.applications(**lease, deadline);
    WindowSearch search(**lease);
    for (const AtspiApplication& application : applications) {
        if (application.pid != 0) search.askWindows(application);
    }
    return search.serve(limit, deadline);
}

const AccessibleTopLevel* activeAmong(const std::vector<AccessibleTopLevel>& windows) {
    const auto shown = std::ranges::find_if(
        windows, [](const AccessibleTopLevel& each) { return each.active && each.showing; });
    if (shown != windows.end()) return &*shown;
    const auto active = std::ranges::find_if(windows, &AccessibleTopLevel::active);
    return active == windows.end() ? nullptr : &*active;
}

std::optional<bool> isTopLevelActive(AtspiBus& bus, const AtspiReference& window,
                                     std::chrono::milliseconds limit) {
    const Deadline deadline = Deadline::in(limit);
    const auto lease = bus.lease(deadline);
    if (!lease) return std::nullopt;
    BusConnection* const connection = &**lease;
    std::optional<bool> active;
    connection->call(
        newAtspiCall(*connection, window.busName.c_str(), window.path.c_str(), AtspiCall::getState),
        [&active](CallOutcome outcome, sd_bus_message* reply) {
            if (outcome == CallOutcome::unanswered || outcome == CallOutcome::unsent) return;
            const auto states = reply == nullptr ? std::nullopt : readAtspiStates(reply);
            active = states && states->has(AtspiState::active);
        });
    serveAll({&connection, 1}, limit, deadline);
    return active;
}

std::optional<pid_t> findActiveApplication(AtspiBus& bus, std::chrono::milliseconds limit) {
    const auto windows = findTopLevels(bus, limit);
    const AccessibleTopLevel* active = activeAmong(windows);
    return active == nullptr ? std::nullopt : std::optional(active->process);
}

}  // namespace varkel
