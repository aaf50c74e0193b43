#include "platform/linux/atspi/ActiveApplication.h"

#include <vector>

#include "platform/linux/atspi/AtspiCalls.h"
#include "platform/linux/atspi/AtspiWire.h"

namespace varkel {

namespace {

// More windows than a person opens; an application that claims to have millions is asked about these.
constexpr int maxWindows = 100;

class ActiveSearch {
  public:
    explicit ActiveSearch(BusConnection& bus) : bus_(bus) {}

    void askWindows(const AtspiApplication& application) {
        const AtspiReference& root = application.root;
        bus_.call(newAtspiCall(bus_, root.busName.c_str(), root.path.c_str(), AtspiCall::getChildren),
                  [this, pid = application.pid](CallOutcome, sd_bus_message* reply) {
                      if (reply == nullptr || sd_bus_message_enter_container(reply, 'a', "(so)") < 0) return;
                      const char* name = nullptr;
                      const char* path = nullptr;
                      for (int i = 0; i < maxWindows && sd_bus_message_read(reply, "(so)", &name, &path) > 0;
                           ++i) {
                          askState(pid, name, path);
                      }
                  });
    }

    std::optional<pid_t> found() const { return found_; }

  private:
    void askState(pid_t pid, const char* name, const char* path) {
        bus_.call(newAtspiCall(bus_, name, path, AtspiCall::getState),
                  [this, pid](CallOutcome, sd_bus_message* reply) {
                      const auto states = reply == nullptr ? std::nullopt : readAtspiStates(reply);
                      if (states && states->has(AtspiState::active) && !found_) found_ = pid;
                  });
    }

    BusConnection& bus_;
    std::optional<pid_t> found_;
};

}  // namespace

std::optional<pid_t> findActiveApplication(AtspiBus& bus, std::chrono::milliseconds limit) {
    const Deadline deadline = Deadline::in(limit);
    const auto lease = bus.lease(deadline);
    if (!lease) return std::nullopt;
    const std::vector<AtspiApplication> applications = bus.applications(**lease, deadline);
    ActiveSearch search(**lease);
    for (const AtspiApplication& application : applications) {
        if (application.pid != 0) search.askWindows(application);
    }
    BusConnection* const connection = &**lease;
    serveAll({&connection, 1}, limit, deadline);
    return search.found();
}

}  // namespace varkel
